// The CODEC command line: every form CODA writes, and what is refused.
#include "archive/codec_cmdline.h"

#include <gtest/gtest.h>

#include "archive/codec_codes.h"
#include "tests/common/testutil.h"

namespace sigillo::codec {
namespace {

TEST(CodecCommandLine, FormsWrittenByTheMacro) {
  {
    CodecCommand c;
    ASSERT_EQ(parseCommand("-c7 \"l b.cdl\" \"in.txt\" -attr -nologo -nn \"n\" -o -s -np \"p/q\" "
                           "-m -y \"*.o\" -e \"r.txt\" -pf \"x y\" -pl \"L\" -pln \"N\" ",
                           &c),
              0);
    EXPECT_EQ(c.command, Command::kCompress);
    EXPECT_EQ(c.level, 7);
    EXPECT_EQ(c.library, "l b.cdl");
    EXPECT_EQ(c.target, "in.txt");
    EXPECT_TRUE(c.attributes && c.nologo && c.overwrite && c.quiet && c.keepPaths);
    EXPECT_EQ(c.name.value(), "n");
    EXPECT_EQ(c.path.value(), "p/q");
    EXPECT_EQ(c.exclude.value(), "*.o");
    EXPECT_EQ(c.report.value(), "r.txt");
    EXPECT_EQ(c.memberPassword.value(), "x y");
    EXPECT_EQ(c.libraryPassword.value(), "L");
    EXPECT_EQ(c.newLibraryPassword.value(), "N");
  }
  {
    CodecCommand c;
    ASSERT_EQ(parseCommand("-db \"l\" \"out\" -a -nologo -nc -xtbl \"t1\" -xtbl \"t2\" ", &c), 0);
    EXPECT_EQ(c.command, Command::kExtract);
    EXPECT_TRUE(c.binary && c.append && c.noClobber);
    EXPECT_EQ(c.table.value(), "t2");  // the later clause wins
  }
  {
    CodecCommand c;
    ASSERT_EQ(parseCommand("-d  \"l\" \"out\" -nologo ", &c), 0);
    EXPECT_FALSE(c.binary);
  }
  {
    CodecCommand c;
    ASSERT_EQ(parseCommand("-e \"l\" \"x.exe\" -r \"rt\" -nologo -e \"rep\" ", &c), 0);
    EXPECT_EQ(c.command, Command::kSelfExtract);
    EXPECT_EQ(c.runtime, "rt");
    EXPECT_EQ(c.report.value(), "rep");
  }
  struct Row {
    const char* text;
    Command command;
    bool flag;  // sorted for -v, quick elsewhere
  } rows[] = {{"-k \"l\" \"*\" -nologo ", Command::kDelete, false},
              {"-x \"l\" \"a*\" -nologo -m ", Command::kCheck, false},
              {"-v  \"l\" \"*\" -nologo -q ", Command::kDump, false},
              {"-vs \"l\" \"*\" -nologo ", Command::kDump, true},
              {"-r \"l\" \"l2\" -nologo -o -s ", Command::kRebuild, false},
              {"-d LIB INTERNAL -nn \"f\" -o -s", Command::kExtract, false}};
  for (const Row& row : rows) {
    CodecCommand c;
    ASSERT_EQ(parseCommand(row.text, &c), 0) << row.text;
    EXPECT_EQ(c.command, row.command) << row.text;
    if (row.command == Command::kDump) {
      EXPECT_EQ(c.sorted, row.flag) << row.text;
    }
  }
}

TEST(CodecCommandLine, SyntaxErrorsGiveCode10WithTheirDetail) {
  struct Row {
    const char* text;
    const char* message;
  } rows[] = {
      {"", "Comando mancante"},
      {"\"-c5\" \"l\" \"f\"", "Comando mancante"},
      {"-z \"l\" \"f\"", "Comando '-z' sconosciuto"},
      {"-c \"l\" \"f\"", "Comando '-c' sconosciuto"},
      {"-c10 \"l\" \"f\"", "Comando '-c10' sconosciuto"},
      {"-k \"l\"", "Nome della libreria o del file mancante"},
      {"-k \"l\" -o", "Nome della libreria o del file mancante"},
      {"-k \"\" \"f\"", "Nome della libreria o del file mancante"},
      {"-k \"l\" \"f\" -q -q", "Opzione -q ripetuta"},
      {"-k \"l\" \"f\" -nn \"a\" -nn \"b\"", "Opzione -nn ripetuta"},
      {"-k \"l\" \"f\" -zz", "Opzione '-zz' sconosciuta"},
      {"-k \"l\" \"f\" -r \"x\"", "Opzione '-r' sconosciuta"},
      {"-k \"l\" \"f\" -pf", "Valore mancante per -pf"},
      {"-k \"l\" \"f\" -pf -o", "Valore mancante per -pf"},
      {"-k \"l\" \"f\" -pf \"\"", "Valore mancante per -pf"},
      {"-k \"l\" \"f\" extra", "Parola 'extra' inattesa"},
      {"-k \"l\" \"f\" -nn \"open", "Virgolette non chiuse"},
      {"-e \"l\" \"x\"", "File di run-time (-r) mancante"},
      {"-e \"l\" \"x\" -r \"a\" -r \"b\"", "Opzione -r ripetuta"},
  };
  for (const Row& row : rows) {
    TRclrerr();
    CodecCommand c;
    EXPECT_EQ(parseCommand(row.text, &c), kSyntax) << row.text;
    auto stack = test::errorStack();
    ASSERT_FALSE(stack.empty()) << row.text;
    EXPECT_EQ(stack.back().code, kSyntax);
    EXPECT_EQ(stack.back().message, row.message) << row.text;
    // Detail entries never claim the stack's code.
    EXPECT_EQ(*get_sErroR(), 0) << row.text;
    TRclearerrstack(nullptr);
  }
}

}  // namespace
}  // namespace sigillo::codec
