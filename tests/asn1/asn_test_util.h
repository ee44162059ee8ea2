// Helpers of the ASN.1 tests: encodings, a compact tree description, the
// error stack as text and quoted values of the vector files.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "asn1/asn.h"
#include "asn1/derpar.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "tests/common/testutil.h"
#include "tests/common/vectors.h"

namespace sigillo::test {

using Lines = std::vector<std::string>;

inline const uint8_t* u8(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

// The encoding of a tree, or empty when it cannot be made.
inline Bytes encode(const aobj* tree) {
  uint32_t size = 0;
  uint8_t* bytes = DERmake(tree, &size);
  if (bytes == nullptr) return {};
  Bytes out(bytes, bytes + size);
  TRFREE(bytes);
  return out;
}

// The DER encoding of a node in hexadecimal, or "FAILED".
inline std::string der(const aobj* node) {
  const Bytes bytes = encode(node);
  return bytes.empty() ? "FAILED" : toHex(bytes);
}

// One node as "<kind><identifier>:<length>" followed by its content:
// "=<hex>" for values, " u<unused>=<hex>" for bit strings, "@<offset>" for
// indirect nodes and "{child,child}" for constructed nodes.
inline std::string describe(const aobj* node) {
  static const char* const kKinds[] = {"?",   "INT", "STR",  "OID",  "DATE",
                                       "BIT", "SEQ", "NULL", "BOOL", "IND"};
  if (node == nullptr) return "null";
  char head[64];
  snprintf(head, sizeof head, "%s%02X:%u", node->kind <= CLASINDIR ? kKinds[node->kind] : "?",
           node->tag, node->length);
  std::string text = head;
  switch (node->kind) {
    case CLASSEQ:
      text += "{";
      for (uint32_t i = 0; i < node->u.seq.count; ++i) {
        text += (i > 0 ? "," : "") + describe(node->u.seq.children[i]);
      }
      return text + "}";
    case CLASBSTR:
      return text + " u" + std::to_string(node->u.bits.unused) + "=" +
             toHex(node->value, node->length - 1);
    case CLASINDIR:
      return text + "@" + std::to_string(node->u.indirect->offset);
    case CLASNULL:
      return text;
    default:
      return text + "=" + toHex(node->value, node->length);
  }
}

// The error stack, oldest first, as "file:function:code:message" or, without
// `where`, as "code:message".
inline Lines stackLines(bool where = true) {
  Lines lines;
  for (const Recorded& r : errorStack()) {
    lines.push_back((where ? r.file + ":" + r.function + ":" : "") + std::to_string(r.code) + ":" +
                    r.message);
  }
  return lines;
}
inline Lines stackCodes() { return stackLines(false); }

// The parts of `text` between separators.
inline Lines split(const std::string& text, const std::string& separator = " | ") {
  Lines parts;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(separator, at), text.size());
    parts.push_back(text.substr(at, end - at));
    at = end + separator.size();
  }
  return parts;
}

// A quoted value of a vector file ("..." keeps outer spaces) without quotes.
inline std::string unquote(const std::string& text) {
  const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

// A quoted value with the escapes \n \r \t \v \f \0 \\ and \xHH.
inline std::string unescape(const std::string& quoted) {
  const std::string text = unquote(quoted), from = "nrtvf0", to("\n\r\t\v\f\0", 6);
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] == '\\' && i + 1 < text.size() ? text[++i] : '\0';
    if (c == 'x') {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += c == '\0' ? text[i] : from.find(c) != std::string::npos ? to[from.find(c)] : c;
    }
  }
  return out;
}

inline Bytes fileBytes(const std::string& path) { return textBytes(readFile(path)); }
inline void writeBytes(const std::string& path, const Bytes& bytes) {
  writeFile(path, std::string(bytes.begin(), bytes.end()));
}

// What `write` writes to a temporary stream.
template <class Write>
std::string written(Write write) {
  FILE* stream = tmpfile();
  write(stream);
  rewind(stream);
  std::string text;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, stream)) > 0;) text.append(buffer, n);
  fclose(stream);
  return text;
}

inline bool run(const std::string& command) {
  return std::system((command + " 2>/dev/null").c_str()) == 0;
}

// A folder holding c.pem, c.der and k.pem: a self-signed certificate for
// CN=asn1 that the openssl command makes once per test program.
inline const TempDir& certificateDir() {
  static const TempDir dir;
  static const bool made = run("cd '" + dir.path().string() +
                               "' && openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=asn1 "
                               "-days 2 -keyout k.pem -out c.pem 2>/dev/null && "
                               "openssl x509 -in c.pem -outform DER -out c.der");
  EXPECT_TRUE(made);
  return dir;
}

}  // namespace sigillo::test
