// Helpers of the ASN.1 tests: encodings, a compact tree description, the
// error stack as text, a trace capture and material made by the openssl CLI.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "asn1/asn.h"
#include "asn1/derpar.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "tests/common/testutil.h"
#include "tests/common/vectors.h"

namespace sigillo::test {

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

// The error stack, oldest first, as "file:function:code:message".
inline std::vector<std::string> stackLines() {
  std::vector<std::string> lines;
  for (const Recorded& r : errorStack()) {
    lines.push_back(r.file + ":" + r.function + ":" + std::to_string(r.code) + ":" + r.message);
  }
  return lines;
}

// The error stack, oldest first, as "code:message".
inline std::vector<std::string> stackCodes() {
  std::vector<std::string> lines;
  for (const Recorded& r : errorStack()) lines.push_back(std::to_string(r.code) + ":" + r.message);
  return lines;
}

// A quoted value of a vector file ("..." keeps outer spaces) without quotes.
inline std::string unquote(const std::string& text) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    return text.substr(1, text.size() - 2);
  }
  return text;
}

// A quoted value with the escapes \n \r \t \v \f \0 \\ and \xHH.
inline std::string unescape(const std::string& quoted) {
  const std::string text = unquote(quoted);
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char c = text[++i];
    if (c == 'x') {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
      continue;
    }
    const std::string from = "nrtvf0", to("\n\r\t\v\f\0", 6);
    out += from.find(c) != std::string::npos ? to[from.find(c)] : c;
  }
  return out;
}

// Messages of every level reach `records` while the capture lives.
class TraceCapture {
 public:
  struct Record {
    uint32_t level;
    std::string text;
  };
  TraceCapture() : level_(TRgetlev()) {
    TRsetlev(9);
    TRsetcallback(this, [](void* arg, const char*, int, const char*, uint32_t level, uint32_t,
                           const char* text) {
      static_cast<TraceCapture*>(arg)->records.push_back(Record{level, text});
    });
  }
  ~TraceCapture() {
    TRsetcallback(nullptr, nullptr);
    TRsetlev(level_);
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  // Texts of the records of one level, the code text of 0 taken off.
  std::vector<std::string> at(uint32_t level) const {
    const std::string prefix = std::string(TRerr2str(0)) + ": ";
    std::vector<std::string> texts;
    for (const Record& r : records) {
      if (r.level != level) continue;
      texts.push_back(r.text.rfind(prefix, 0) == 0 ? r.text.substr(prefix.size()) : r.text);
    }
    return texts;
  }
  std::vector<Record> records;

 private:
  uint32_t level_;
};

inline Bytes fileBytes(const std::string& path) { return textBytes(readFile(path)); }

inline void writeBytes(const std::string& path, const Bytes& bytes) {
  writeFile(path, std::string(bytes.begin(), bytes.end()));
}

inline bool run(const std::string& command) {
  return std::system((command + " 2>/dev/null").c_str()) == 0;
}

// A self-signed certificate made now by the openssl CLI, in DER.
inline Bytes freshCertificate(const TempDir& dir) {
  const std::string cert = dir.file("fresh.der");
  const bool made = run("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=t -days 30 -keyout " +
                        dir.file("fresh.key") + " -outform DER -out " + cert);
  return made ? fileBytes(cert) : Bytes{};
}

// Up to `count` certificates of the system CA bundle, in DER.
inline std::vector<Bytes> systemCertificates(const TempDir& dir, size_t count) {
  const std::string listed = runShell(dir.path().string(), "ls /etc/ssl/certs/*.pem | sort").out;
  std::vector<Bytes> certs;
  std::istringstream in(listed);
  for (std::string pem; certs.size() < count && std::getline(in, pem);) {
    if (run("openssl x509 -in '" + pem + "' -outform DER -out " + dir.file("ca.der"))) {
      certs.push_back(fileBytes(dir.file("ca.der")));
    }
  }
  return certs;
}

// A CRL signed by the openssl CLI that revokes `revoked` serial numbers,
// every third one with a reason code.
inline Bytes opensslCrl(const TempDir& dir, int revoked) {
  std::string lines;
  for (int i = 1; i <= revoked; ++i) {
    char line[128];
    snprintf(line, sizeof line, "R\t351231235959Z\t240102030405Z%s\t%04X\tunknown\t/CN=r%d\n",
             i % 3 == 0 ? ",keyCompromise" : "", i + 0x1000, i);
    lines += line;
  }
  writeFile(dir.file("index.txt"), lines);
  writeFile(dir.file("crlnumber"), "01\n");
  writeFile(dir.file("ca.cnf"), "[ca]\ndefault_ca = d\n[d]\ndatabase = " + dir.file("index.txt") +
                                    "\ncrlnumber = " + dir.file("crlnumber") +
                                    "\ndefault_md = sha256\ndefault_crl_days = 30\n");
  const std::string key = dir.file("crl.key"), cert = dir.file("crlca.pem");
  const bool made =
      run("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=ca -days 30 -keyout " + key +
          " -out " + cert) &&
      run("openssl ca -gencrl -batch -config " + dir.file("ca.cnf") + " -keyfile " + key +
          " -cert " + cert + " -out " + dir.file("crl.pem")) &&
      run("openssl crl -in " + dir.file("crl.pem") + " -outform DER -out " + dir.file("crl.der"));
  return made ? fileBytes(dir.file("crl.der")) : Bytes{};
}

}  // namespace sigillo::test
