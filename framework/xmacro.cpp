// Command-line front end of the macros: joins the arguments into a
// parameter string, prints help, runs the macro and reports the result.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "framework/mlib.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "mlib";
constexpr const char* kNotice =
    "Sigillo - Versione 7.16.27 - rilascio 18/01/2012 - crittografia, PKI e compressione";
constexpr int kHelpColumn = 2;
constexpr int kHelpWidth = 14;

// An argument is copied as it is when it has no blank and either starts
// with '-' or holds no '-'; otherwise it is quoted.
std::string joinArguments(int argc, char** argv) {
  std::string line;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i] != nullptr ? argv[i] : "";
    bool plain = strchr(arg, ' ') == nullptr && (arg[0] == '-' || strchr(arg, '-') == nullptr);
    if (plain) {
      line += arg;
    } else {
      line += '"';
      line += arg;
      line += '"';
    }
    line += ' ';
  }
  return line;
}

// Index of the sub-command named by the first word, -1 when the line is
// empty, -2 when the first word names none.
int findCommand(const std::string& line, const WCcmd* commands) {
  std::vector<const char*> keywords;
  for (const WCcmd* c = commands; c->keyword != nullptr; ++c) keywords.push_back(c->keyword);
  keywords.push_back(nullptr);
  WClexer lex;
  WClexinit(&lex, line.c_str(), keywords.data());
  lex.wordChars = kWcHelpWordChars;
  lex.escape = '/';
  WCtoken(&lex);
  uint16_t token = lex.token;
  WClexfree(&lex);
  if (token == kTokEnd) return -1;
  if (token >= kTokKeyword) return token - kTokKeyword;
  return -2;
}

void printFullHelp(const XMacroDesc& desc) {
  printf("%s\n%s\n", desc.title, kNotice);
  printf("Uso: %s <FUNZIONE> (-h)\n", desc.program);
  printf("Funzioni disponibili:\n");
  for (int i = 0; desc.commands[i].keyword != nullptr; ++i) {
    const char* text = desc.descriptions != nullptr ? desc.descriptions[i] : "";
    justify("", kHelpColumn, desc.commands[i].keyword, kHelpWidth, text);
  }
}

void printOptionLines(const WCopt* options) {
  for (const WCopt* o = options; o != nullptr && o->name != nullptr; ++o) {
    std::string label = std::string("-") + o->name + (o->type == kWcFlag ? "" : " arg");
    justify("", kHelpColumn, label.c_str(), kHelpWidth, o->mandatory ? "(obbligatorio)" : "");
  }
}

void printCommandHelp(const XMacroDesc& desc, const WCcmd& command) {
  printf("Uso: %s %s <...>\n", desc.program, command.keyword);
  printOptionLines(command.options);
}

void printResult() {
  uint32_t code = 0;
  char text[kMsgSize * 2];
  TRgeterr(&code, text, sizeof text);
  printf("\nRISULTATO = (%d) %s\n", static_cast<int>(code), text);
  if (code == 0 || TRgeterrstklen() <= 1) return;
  printf("\nTRACCIA ERRORE:\n");
  for (const ErrEntry* e = TRgeterrstk(); e != nullptr; e = e->next) {
    printf(" > [%d] %s: %s (%s:%d:%s)\n", static_cast<int>(e->code), TRentrytext(e), e->message,
           e->file, static_cast<int>(e->line), e->function);
  }
}

struct FrontFlags {
  bool help = false;
  bool quiet = false;
};

FrontFlags scanFlags(const std::string& line) {
  WCopt table[] = {{"h", 0, kWcFlag, 0, {}, 0},
                   {"s", 0, kWcFlag, 0, {}, 0},
                   {"nl", 0, kWcFlag, 0, {}, 0},
                   {nullptr, 0, 0, 0, {}, 0}};
  WCgetargs(line.c_str(), table, kArgsTolerant, 0);
  FrontFlags flags{WCoptused(table, "h"), WCoptused(table, "s")};
  WCoptclean(table);
  return flags;
}

uint16_t runFrontEnd(int argc, char** argv, const XMacroDesc& desc) {
  std::string line;
  try {
    line = joinArguments(argc, argv);
  } catch (const std::bad_alloc&) {
    return TRERR_AS("avline", 10, "Impossibile allocare %d byte", argc);
  }
  TRclrerr();
  const int command = findCommand(line, desc.commands);
  const FrontFlags flags = scanFlags(line);
  if (command == -1) {
    printFullHelp(desc);
    return 0;
  }
  if (command == -2) {
    TRERR_AS("chk_help", 212, "Metodo sconosciuto");
    printResult();
    return *get_sErroR();
  }
  if (flags.help) {
    printCommandHelp(desc, desc.commands[command]);
    return 0;
  }
  if (!flags.quiet) printf("%s\n%s\n", desc.title, kNotice);
  fflush(stdout);
  const uint32_t length = static_cast<uint32_t>(line.size());
  uint16_t rc = 0;
  desc.entry(line.c_str(), &length, &rc);
  fflush(stdout);
  printResult();
  return rc;
}

}  // namespace

void justify(const char* label, int column, const char* text, int width, const char* description) {
  std::string line(static_cast<size_t>(column > 0 ? column : 0), ' ');
  line += label != nullptr ? label : "";
  line += text != nullptr ? text : "";
  if (static_cast<int>(line.size()) < column + width) line.resize(column + width, ' ');
  line += ' ';
  line += description != nullptr ? description : "";
  while (!line.empty() && line.back() == ' ') line.pop_back();
  line += '\n';
  fputs(line.c_str(), stdout);
}

uint16_t x_macro(int argc, char** argv, const XMacroDesc* desc) {
  if (desc == nullptr || desc->commands == nullptr || desc->entry == nullptr) {
    return TRERR_AS("x_macro", 304, "Oggetto o riferimento nullo");
  }
  try {
    return runFrontEnd(argc, argv, *desc);
  } catch (...) {
    return TRERR_AS("x_macro", 30, "Errore interno");
  }
}

}  // namespace sigillo
