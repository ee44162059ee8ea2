// Options whose values are secrets (passwords, key texts, PINs) and the one
// way they are shown anywhere: eight asterisks.
#pragma once

#include <string>
#include <string_view>

namespace sigillo {

inline constexpr const char* kSecretMask = "********";

// True for the name of an option that carries a secret (without its '-').
bool isSecretOption(std::string_view name);

// `params` with the value of every secret option replaced by kSecretMask.
// Values are taken as the option parser takes them: a quoted text (up to the
// closing quote, or to the end when it is missing) or a word, here up to the
// next blank, so that no part of a badly written secret survives.
std::string maskSecretOptions(std::string_view params);

// Opens for writing a file that holds secrets (a trace log, a private key):
// a final symbolic link is not followed (ELOOP), a new file is made with mode
// 0600 and an existing regular file is given mode 0600 when `truncate` empties
// it.  Returns the descriptor, or -1 with errno set.
int openSecretFile(const char* path, bool truncate);

}  // namespace sigillo
