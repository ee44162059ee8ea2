// Scope guards of the library: recording switched off for a scope, and a
// handler's option context opened and closed on every way out.
#pragma once

#include <cstdint>

#include "framework/mlib.h"
#include "framework/trace.h"

namespace sigillo {

// Recording off while the guard lives: clean-up after an error already
// reported, or a probe whose failures are no errors.
class RecordingOff {
 public:
  RecordingOff() { TRenable(0); }
  ~RecordingOff() { TRenable(1); }
  RecordingOff(const RecordingOff&) = delete;
  RecordingOff& operator=(const RecordingOff&) = delete;
};

// The result of `step` run with recording off.
template <class Step>
auto quietly(Step&& step) {
  const RecordingOff quiet;
  return step();
}

// chk_opts when made, end_opts when gone: a handler's option context.
class HandlerOptions {
 public:
  HandlerOptions(WCopt* options, const char* outOption) : options_(options) {
    code_ = chk_opts(options, outOption, &context_);
  }
  ~HandlerOptions() { end_opts(options_, context_); }
  HandlerOptions(const HandlerOptions&) = delete;
  HandlerOptions& operator=(const HandlerOptions&) = delete;
  // The code chk_opts returned: 0 when the handler may run.
  uint16_t code() const { return code_; }

 private:
  WCopt* options_;
  OptContext* context_ = nullptr;
  uint16_t code_ = 0;
};

}  // namespace sigillo
