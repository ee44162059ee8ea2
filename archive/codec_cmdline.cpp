// Parser of the CODEC command line.
#include "archive/codec_cmdline.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "archive/codec_codes.h"
#include "framework/secure.h"

namespace sigillo::codec {
namespace {

struct Token {
  std::string text;
  bool quoted = false;
  ~Token() { OPENSSL_cleanse(text.data(), text.size()); }
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

uint16_t tokenize(std::string_view text, std::vector<Token>* tokens) {
  size_t i = 0;
  while (i < text.size()) {
    if (isBlank(text[i])) {
      ++i;
      continue;
    }
    Token& t = tokens->emplace_back();
    if (text[i] == '"') {
      size_t end = text.find('"', i + 1);
      if (end == std::string_view::npos) return CERR(kSyntax, "Virgolette non chiuse");
      t.text.assign(text.substr(i + 1, end - i - 1));
      t.quoted = true;
      i = end + 1;
    } else {
      size_t end = i;
      while (end < text.size() && !isBlank(text[end])) ++end;
      t.text.assign(text.substr(i, end - i));
      i = end;
    }
  }
  return 0;
}

bool isOption(const Token& t) { return !t.quoted && !t.text.empty() && t.text[0] == '-'; }

uint16_t parseCommandWord(const Token& t, CodecCommand* c) {
  const std::string& w = t.text;
  if (t.quoted || w.size() < 2 || w[0] != '-') return CERR(kSyntax, "Comando mancante");
  if (w[1] == 'c' && w.size() == 3 && w[2] >= '0' && w[2] - '0' <= kMaxLevel) {
    c->command = Command::kCompress;
    c->level = w[2] - '0';
  } else if (w == "-d" || w == "-db") {
    c->command = Command::kExtract;
    c->binary = w == "-db";
  } else if (w == "-v" || w == "-vs") {
    c->command = Command::kDump;
    c->sorted = w == "-vs";
  } else if (w == "-k") {
    c->command = Command::kDelete;
  } else if (w == "-x") {
    c->command = Command::kCheck;
  } else if (w == "-r") {
    c->command = Command::kRebuild;
  } else if (w == "-e") {
    c->command = Command::kSelfExtract;
  } else {
    return CERR(kSyntax, "Comando '%s' sconosciuto", w.c_str());
  }
  return 0;
}

struct FlagOption {
  const char* name;
  bool CodecCommand::*field;
};
const FlagOption kFlags[] = {{"attr", &CodecCommand::attributes}, {"a", &CodecCommand::append},
                             {"nologo", &CodecCommand::nologo},   {"o", &CodecCommand::overwrite},
                             {"s", &CodecCommand::quiet},         {"m", &CodecCommand::keepPaths},
                             {"nc", &CodecCommand::noClobber},    {"q", &CodecCommand::quick}};

struct ValueOption {
  const char* name;
  std::optional<std::string> CodecCommand::*field;
};
const ValueOption kValues[] = {{"nn", &CodecCommand::name},
                               {"np", &CodecCommand::path},
                               {"y", &CodecCommand::exclude},
                               {"e", &CodecCommand::report},
                               {"pf", &CodecCommand::memberPassword},
                               {"pl", &CodecCommand::libraryPassword},
                               {"pln", &CodecCommand::newLibraryPassword}};

// One option and, when it takes one, its value; `i` moves past both.
uint16_t parseOption(const std::vector<Token>& tokens, size_t* i, CodecCommand* c,
                     bool* runtimeSeen) {
  const std::string name = tokens[*i].text.substr(1);
  for (const FlagOption& f : kFlags) {
    if (name != f.name) continue;
    if (c->*f.field) return CERR(kSyntax, "Opzione -%s ripetuta", f.name);
    c->*f.field = true;
    ++*i;
    return 0;
  }
  const bool takesValue = name == "xtbl" || (name == "r" && c->command == Command::kSelfExtract) ||
                          std::any_of(std::begin(kValues), std::end(kValues),
                                      [&](const ValueOption& v) { return name == v.name; });
  if (!takesValue) return CERR(kSyntax, "Opzione '%s' sconosciuta", tokens[*i].text.c_str());
  if (*i + 1 >= tokens.size() || isOption(tokens[*i + 1]) || tokens[*i + 1].text.empty()) {
    return CERR(kSyntax, "Valore mancante per -%s", name.c_str());
  }
  const std::string& value = tokens[*i + 1].text;
  *i += 2;
  if (name == "xtbl") {  // the later of the two conversion-table clauses wins
    c->table = value;
    return 0;
  }
  if (name == "r") {
    if (*runtimeSeen) return CERR(kSyntax, "Opzione -r ripetuta");
    *runtimeSeen = true;
    c->runtime = value;
    return 0;
  }
  for (const ValueOption& v : kValues) {
    if (name != v.name) continue;
    if (c->*v.field) return CERR(kSyntax, "Opzione -%s ripetuta", v.name);
    c->*v.field = value;
  }
  return 0;
}

}  // namespace

CodecCommand::~CodecCommand() {
  for (auto* secret : {&memberPassword, &libraryPassword, &newLibraryPassword}) {
    if (*secret) OPENSSL_cleanse(secret->value().data(), secret->value().size());
  }
}

uint16_t parseCommand(std::string_view text, CodecCommand* c) {
  std::vector<Token> tokens;
  if (uint16_t rc = tokenize(text, &tokens)) return rc;
  if (tokens.empty()) return CERR(kSyntax, "Comando mancante");
  if (uint16_t rc = parseCommandWord(tokens[0], c)) return rc;
  size_t i = 1;
  std::string* names[] = {&c->library, &c->target};
  for (std::string* slot : names) {
    if (i >= tokens.size() || isOption(tokens[i]) || tokens[i].text.empty()) {
      return CERR(kSyntax, "Nome della libreria o del file mancante");
    }
    *slot = tokens[i++].text;
  }
  bool runtimeSeen = false;
  while (i < tokens.size()) {
    if (!isOption(tokens[i])) return CERR(kSyntax, "Parola '%s' inattesa", tokens[i].text.c_str());
    if (uint16_t rc = parseOption(tokens, &i, c, &runtimeSeen)) return rc;
  }
  if (c->command == Command::kSelfExtract && !runtimeSeen) {
    return CERR(kSyntax, "File di run-time (-r) mancante");
  }
  return 0;
}

}  // namespace sigillo::codec
