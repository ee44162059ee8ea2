// Reader of the vector files under tests/data/: records of "key = value"
// lines separated by blank lines; "#" starts a comment line and "[name]"
// starts a group whose name every following record carries.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/testutil.h"

namespace sigillo::test {

struct Vector {
  std::string file;
  int line = 0;  // line of the record's first key
  std::string group;
  std::map<std::string, std::string> fields;

  bool has(const std::string& key) const { return fields.count(key) != 0; }
  const std::string& text(const std::string& key) const {
    auto it = fields.find(key);
    if (it == fields.end()) throw std::out_of_range(where() + ": no key '" + key + "'");
    return it->second;
  }
  Bytes bytes(const std::string& key) const { return fromHex(text(key)); }
  long long number(const std::string& key) const { return std::stoll(text(key), nullptr, 0); }
  // "file:line" for failure messages.
  std::string where() const { return file + ":" + std::to_string(line); }
};

inline std::string trimmed(const std::string& s) {
  const size_t first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

// Every record of tests/data/`name`, in file order.  A missing file or a
// line that is no "key = value" fails the calling test.
inline std::vector<Vector> loadVectors(const std::string& name) {
  const std::string path = std::string(SIGILLO_SOURCE_DIR) + "/tests/data/" + name;
  std::ifstream in(path);
  std::vector<Vector> all;
  if (!in) {
    ADD_FAILURE() << "cannot read " << path;
    return all;
  }
  std::string group;
  Vector current;
  std::string raw;
  int lineNo = 0;
  auto flush = [&] {
    if (!current.fields.empty()) all.push_back(current);
    current = Vector{};
  };
  while (std::getline(in, raw)) {
    ++lineNo;
    const std::string line = trimmed(raw);
    if (line.empty()) {
      flush();
      continue;
    }
    if (line[0] == '#') continue;
    if (line.front() == '[' && line.back() == ']') {
      flush();
      group = line.substr(1, line.size() - 2);
      continue;
    }
    const size_t eq = line.find('=');
    if (eq == std::string::npos) {
      ADD_FAILURE() << path << ":" << lineNo << ": no '=' in '" << line << "'";
      continue;
    }
    if (current.fields.empty()) {
      current.file = name;
      current.line = lineNo;
      current.group = group;
    }
    current.fields[trimmed(line.substr(0, eq))] = trimmed(line.substr(eq + 1));
  }
  flush();
  return all;
}

}  // namespace sigillo::test
