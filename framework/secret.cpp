// Masking of secret option values in parameter texts.
#include "framework/secret.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace sigillo {
namespace {

// Archive passwords, MAC key texts, the keys that protect a private-key file
// and their new values, and token PINs.
constexpr std::array<std::string_view, 14> kSecretOptions = {
    "pf",   "pl",   "pln", "md1", "md2", "key1",  "key2",
    "key3", "krc5", "nk1", "nk2", "nk3", "nkrc5", "pin",
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool sameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != b[i]) return false;
  }
  return true;
}

size_t skipBlanks(std::string_view text, size_t at) {
  while (at < text.size() && isBlank(text[at])) ++at;
  return at;
}

// End of an option name: names are words, so a blank or a quote ends them.
size_t nameEnd(std::string_view text, size_t at) {
  while (at < text.size() && !isBlank(text[at]) && text[at] != '"') ++at;
  return at;
}

// End of a secret value starting at `at`: the closing quote of a quoted text
// (the end when it is missing), else the next blank.
size_t secretEnd(std::string_view text, size_t at) {
  if (text[at] == '"') {
    size_t close = text.find('"', at + 1);
    return close == std::string_view::npos ? text.size() : close;
  }
  while (at < text.size() && !isBlank(text[at])) ++at;
  return at;
}

}  // namespace

bool isSecretOption(std::string_view name) {
  for (std::string_view secret : kSecretOptions) {
    if (sameName(name, secret)) return true;
  }
  return false;
}

std::string maskSecretOptions(std::string_view params) {
  std::string out;
  out.reserve(params.size());
  size_t at = 0;
  while (at < params.size()) {
    if (params[at] == '"') {  // a quoted text that is no secret's value: copied whole
      const size_t close = params.find('"', at + 1);
      const size_t end = close == std::string_view::npos ? params.size() : close + 1;
      out.append(params.substr(at, end - at));
      at = end;
      continue;
    }
    if (params[at] != '-') {
      out.push_back(params[at++]);
      continue;
    }
    const size_t end = nameEnd(params, at + 1);
    const std::string_view name = params.substr(at + 1, end - at - 1);
    out.append(params.substr(at, end - at));
    at = end;
    if (!isSecretOption(name)) continue;
    const size_t value = skipBlanks(params, at);
    out.append(params.substr(at, value - at));
    at = value;
    if (at == params.size() || params[at] == '-') continue;  // no value follows
    const bool quoted = params[at] == '"';
    const size_t valueEnd = secretEnd(params, at);
    if (quoted) out.push_back('"');
    out += kSecretMask;
    at = valueEnd;
    if (quoted && at < params.size()) out.push_back(params[at++]);  // the closing quote
  }
  return out;
}

int openSecretFile(const char* path, bool truncate) {
  const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | (truncate ? O_TRUNC : O_APPEND);
  const int fd = open(path, flags, 0600);
  if (fd < 0 || !truncate) return fd;
  struct stat info {};
  if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & 07777) != 0600 &&
      fchmod(fd, 0600) != 0) {
    const int saved = errno;
    close(fd);
    errno = saved;
    return -1;
  }
  return fd;
}

}  // namespace sigillo
