// Macro engine: runs one sub-command of a macro from its parameter string,
// the command-line front end and the option-driven file routines.
#pragma once

#include <cstdint>

#include "framework/unifile.h"
#include "framework/wclib.h"

namespace sigillo {

using MacroEntry = uint16_t (*)(const char* params, const uint32_t* length, uint16_t* rc);

uint16_t macro(const char* name, const WCcmd* commands, const char* params, const uint32_t* length,
               uint16_t* rc);

// What x_macro needs to run a macro from a command line.
struct XMacroDesc {
  const char* program;
  const char* title;
  MacroEntry entry;
  const WCcmd* commands;
  const char* const* descriptions;  // one per command, may be null
};
uint16_t x_macro(int argc, char** argv, const XMacroDesc* desc);
void justify(const char* label, int column, const char* text, int width, const char* description);

// Handler context made by chk_opts: the translation table to apply to text
// (null when -bin was given).
struct OptContext {
  const uint8_t* table;
  bool loaded;
};
uint16_t chk_opts(WCopt* options, const char* outOption, OptContext** context);
void end_opts(WCopt* options, OptContext* context);

FHandle* open_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode, uint16_t* rc);
uint8_t* load_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                   uint64_t* length, uint16_t* rc);
uint16_t write_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                    const void* data, uint64_t length);
uint16_t save_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                   const void* data, uint64_t length);

extern const uint8_t kAsciiToEbcdic[256];
extern const uint8_t kEbcdicToAscii[256];

}  // namespace sigillo
