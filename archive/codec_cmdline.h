// The CODEC command line: a command word, two names and options.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sigillo::codec {

enum class Command { kCompress, kExtract, kDelete, kCheck, kDump, kRebuild, kSelfExtract };

struct CodecCommand {
  Command command = Command::kCompress;
  int level = 5;                               // -c<level>
  bool binary = false;                         // -db: no conversion table
  bool sorted = false;                         // -vs: listing by name
  std::string library;                         // first name
  std::string target;                          // second name: file or folder, pattern, new library
  std::string runtime;                         // -r of -e
  std::optional<std::string> name;             // -nn
  std::optional<std::string> path;             // -np
  std::optional<std::string> table;            // -xtbl
  std::optional<std::string> exclude;          // -y
  std::optional<std::string> report;           // -e
  std::optional<std::string> memberPassword;   // -pf
  std::optional<std::string> libraryPassword;  // -pl
  std::optional<std::string> newLibraryPassword;  // -pln
  bool attributes = false;                        // -attr
  bool append = false;                            // -a
  bool nologo = false;
  bool overwrite = false;  // -o
  bool quiet = false;      // -s
  bool keepPaths = false;  // -m
  bool noClobber = false;  // -nc
  bool quick = false;      // -q

  CodecCommand() = default;
  CodecCommand(const CodecCommand&) = delete;
  CodecCommand& operator=(const CodecCommand&) = delete;
  ~CodecCommand();
};

constexpr int kMaxLevel = 9;

// 0, or kSyntax with a detail entry naming what was not understood.
uint16_t parseCommand(std::string_view text, CodecCommand* command);

}  // namespace sigillo::codec
