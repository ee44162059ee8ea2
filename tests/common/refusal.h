// Checks shared by the entry-point tests: the code a call returns, the code
// it leaves in *rc and the oldest entry of the error stack agree.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "tests/common/testutil.h"

namespace sigillo::test {

using EntryCall = std::function<uint16_t(uint16_t*)>;

// One call an entry point must refuse: its code and the oldest error's text.
struct Refusal {
  const char* what;
  EntryCall call;
  uint16_t code;
  const char* message;
};

// The oldest entry of the error stack after a call.
inline void expectFirstError(uint16_t code, const std::string& message, const std::string& what) {
  auto stack = errorStack();
  ASSERT_FALSE(stack.empty()) << what;
  EXPECT_EQ(stack.front().code, code) << what;
  EXPECT_EQ(stack.front().message, message) << what;
}

// Calls `call` and checks the return value, *rc and the oldest error; a
// success (code 0) leaves the stack empty.
inline void expectOutcome(const EntryCall& call, uint16_t code, const std::string& message,
                          const std::string& what) {
  uint16_t rc = 99;
  EXPECT_EQ(call(&rc), code) << what;
  EXPECT_EQ(rc, code) << what;
  if (code == 0) {
    auto stack = errorStack();
    EXPECT_TRUE(stack.empty()) << what << ": " << (stack.empty() ? "" : stack.front().message);
    return;
  }
  expectFirstError(code, message, what);
}

inline void expectOutcome(const Refusal& r) { expectOutcome(r.call, r.code, r.message, r.what); }

}  // namespace sigillo::test
