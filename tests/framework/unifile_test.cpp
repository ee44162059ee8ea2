// File layer: open table, memory files (also at addresses this process may not touch),
// whole-file helpers, names.
#include <sys/mman.h>
#include <unistd.h>

#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

namespace fs = std::filesystem;
using namespace test;
constexpr auto first = firstError;

constexpr uint32_t kB = kKindBinary;

// "bin r w nt", "text w", "kind7 nt" ... as open flags.
uint32_t flagsOf(const std::string& names) {
  std::istringstream in(names);
  uint32_t flags = 0;
  for (std::string n; in >> n;) {
    flags |= n == "bin" ? kB : n == "obj" ? kKindObject : n == "text" ? kKindText : 0;
    flags |= n == "r" ? FM_READ : n == "w" ? FM_WRITE : n == "nt" ? FM_NOTRUNC : 0;
    if (n.rfind("kind", 0) == 0) flags |= std::stoul(n.substr(4));
  }
  return flags;
}

// A caller block: u32 little-endian length, the data, then spare bytes; and its memory name.
struct Block {
  std::vector<uint8_t> bytes;
  explicit Block(const std::string& data) : bytes(4 + data.size() + 64, 0xEE) {
    const uint32_t n = data.size();  // the host is little-endian
    memcpy(bytes.data(), &n, 4);
    memcpy(bytes.data() + 4, data.data(), data.size());
  }
  uint32_t length() const { return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | bytes[3] << 24; }
  std::string data() const { return std::string(bytes.begin() + 4, bytes.begin() + 4 + length()); }
  std::string name() const { return memoryName(bytes.data()); }
};

class FileLayer : public test::CleanStack {
 protected:
  TempDir dir;
};

// The file named by a row's `path` (see the vector file), made with `content`.
struct Target {
  std::string path;
  std::unique_ptr<Block> block;
  Target(const test::Vector& v, const test::TempDir& dir, const std::string& key, int n) {
    const std::string name = v.has(key) ? v.text(key) : "f" + std::to_string(n);
    if (name == "block") block = std::make_unique<Block>(field(v, "content"));
    path = name == "block"                            ? block->name()
           : name == "folder"                         ? dir.path().string()
           : name.empty() || name.rfind("0x", 0) == 0 ? name
                                                      : dir.file(name);
    if (v.has("content") && name != "block") writeFile(path, field(v, "content"));
  }
};

TEST_F(FileLayer, VectorsNullArgumentsTextLinesAndFailuresOfOpenFiles) {
  const mode_t oldMask = umask(022);
  int n = 0;
  for (const auto& v : test::loadVectors("framework/files.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    const uint32_t flags = flagsOf(field(v, "flags"));
    const uint16_t rc = v.has("rc") ? v.number("rc") : 0;
    Target target(v, dir, v.group == "names" ? "from" : "path", ++n);
    const std::string& path = target.path;
    if (v.group == "open") {
      uint16_t got = 99;
      FHandle* h = f_open(path.c_str(), flags, 0, &got);
      EXPECT_EQ(got, rc);
      EXPECT_EQ(h == nullptr, rc != 0);
      if (rc != 0) {
        EXPECT_EQ(first(),
                  std::to_string(rc) + " f_open: " + replaced(field(v, "message"), "{path}", path));
        if (!v.has("path"))
          EXPECT_EQ(fs::exists(path) ? readFile(path) : "<none>", field(v, "content", "<none>"));
      } else if (v.text("after") == "read") {
        char buf[16] = {};
        EXPECT_EQ(std::string(buf, f_read(h, buf, sizeof buf)), "hello");
        EXPECT_EQ(f_close(h), 0);
        EXPECT_EQ(f_exists(path.c_str()), !target.block);
      } else {
        EXPECT_EQ(f_write(h, "XY", 2), 0);
        EXPECT_EQ(f_close(h), 0);
        EXPECT_EQ(readFile(path), v.text("after"));
      }
    } else if (v.group == "load") {
      TRerr("test", 1, "earlier", 77, "stale");
      uint64_t length = 99;
      uint16_t got = 99;
      uint8_t* data = f_load(path.c_str(), flags, 0, &length, &got);
      EXPECT_EQ(std::string(reinterpret_cast<char*>(data), data ? length : 0), field(v, "loaded"));
      if ((flags & FM_KIND) == kKindText && data != nullptr) EXPECT_EQ(data[length], '\0');
      TRFREE(data);
      const std::string stack = replaced(field(v, "stack"), "{path}", path);
      EXPECT_EQ(test::trimmed(stackText()), stack);
      EXPECT_EQ(got, stack.empty() ? 0 : std::stoi(stack));
      if (v.has("content") && !target.block) EXPECT_EQ(readFile(path), field(v, "content"));
    } else if (v.group == "names") {
      writeFile(dir.file("live"), "x");
      fs::create_directories(dir.path() / "full" / "child");
      const std::string to = v.has("to") ? dir.file(v.text("to")) : "";
      const uint16_t got = to.empty() ? f_remove(path.c_str()) : f_rename(path.c_str(), to.c_str());
      const std::string stack = replaced(replaced(field(v, "stack"), "{path}", path), "{to}", to);
      EXPECT_EQ(stackText(), stack);
      EXPECT_EQ(got, stack.empty() ? 0 : std::stoi(stack));
      if (stack.empty()) EXPECT_FALSE(f_exists(path.c_str()));
      if (stack.empty() && !to.empty()) EXPECT_EQ(readFile(to), field(v, "content"));
    } else if (v.group == "mode") {
      FilePtr h(f_open(path.c_str(), flags, std::stoul(v.text("mode"), nullptr, 8), nullptr));
      struct stat st {};
      ASSERT_EQ(stat(path.c_str(), &st), 0);
      EXPECT_EQ(st.st_mode & 07777, std::stoul(v.text("expected"), nullptr, 8));
    } else if (v.group == "memname") {
      EXPECT_EQ(isMemoryFileName(field(v, "name").c_str()), v.number("memory") == 1);
    } else if (v.group == "memwrite") {
      Block block("hello");
      const Block before = block;
      FHandle* h = f_open(block.name().c_str(), flags, 0, nullptr);
      ASSERT_NE(h, nullptr);
      EXPECT_EQ(f_size(h), v.number("size"));
      EXPECT_EQ(f_seek(h, 0, SEEK_END), 0);
      EXPECT_EQ(f_write(h, "XYZ", 3), 0);
      EXPECT_EQ(f_close(h), 0);
      EXPECT_EQ(block.data(), v.text("stored"));
      const size_t end = 4 + block.length();
      EXPECT_EQ(block.bytes[end], before.bytes[end]);  // nothing written past the content
    } else if (v.group == "memseek") {
      Block block("uno\ndue\ntre");
      FilePtr h(f_open(block.name().c_str(), kKindText | FM_READ, 0, nullptr));
      const int result = v.number("result");
      EXPECT_EQ(f_seek(h.get(), v.number("offset"), v.number("whence")), result);
      EXPECT_EQ(first(), result == 0 ? ""
                                     : "308 f_seek: Errore di posizionamento nel file '" +
                                           block.name() + "'");
    } else {  // ldber
      const auto content = v.bytes("content");
      writeFile(path, std::string(content.begin(), content.end()));
      std::vector<uint8_t> buffer(8, 0xAA);
      uint64_t length = 99;
      const uint64_t size = v.number("size");
      EXPECT_EQ(LdBERInBuf(path.c_str(), buffer.data(), size, &length), rc);
      EXPECT_EQ(first(), rc == 0 ? ""
                                 : std::to_string(rc) + " LdBERInBuf: " +
                                       replaced(v.text("message"), "{path}", path));
      EXPECT_EQ(length, rc == 0 ? content.size() : 0u);
      EXPECT_EQ(test::toHex(buffer.data(), length), v.text("content").substr(0, 2 * length));
      EXPECT_EQ(buffer[size], 0xAA);
    }
    if (rc == 0 && v.group != "memseek" && !v.has("stack")) EXPECT_EQ(TRgeterrstklen(), 0u);
  }
  umask(oldMask);
  TRclrerr();
  char b[4];
  const std::pair<bool, const char*> rows[] = {
      {f_read(nullptr, nullptr, 1) == 0, "2 f_read: handle (1)"},
      {f_putc('a', nullptr) == EOF, "2 f_putc: handle (2)"},
      {f_gets(b, 0, nullptr) == nullptr, "5 f_gets: size (2)"},
      {f_save("x", kB, 0, nullptr, 1) == 2, "2 f_save: data (4)"},
      {Nmaketemp(nullptr, nullptr, 10) == 2, "2 Nmaketemp: name (2)"},
  };
  std::string expected;
  for (const auto& [ok, error] : rows) {
    EXPECT_TRUE(ok) << error;
    expected += (expected.empty() ? "" : " | ") + std::string(error);
  }
  EXPECT_EQ(stackText(), expected);
  // A null handle writes to standard output.
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(f_printf(nullptr, "%d-%s", 7, "due"), 5);
  EXPECT_EQ(f_flush(nullptr), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "7-due");
  TRclrerr();
  const std::string path = dir.file("t.txt");
  writeFile(path, "alpha\nbeta=42\nz");
  FilePtr r(f_open(path.c_str(), kKindText | FM_READ, 0, nullptr));
  char line[8];
  EXPECT_STREQ(f_gets(line, sizeof line, r.get()), "alpha\n");
  EXPECT_STREQ(f_gets(line, 5, r.get()), "beta");  // size - 1 characters at most
  EXPECT_STREQ(f_gets(line, sizeof line, r.get()), "=42\n");
  EXPECT_EQ(f_getc(r.get()), 'z');
  EXPECT_EQ(f_gets(line, sizeof line, r.get()), nullptr);
  EXPECT_EQ(f_eof(r.get()), 1);
  // A pipe has no position (read-write keeps open(2) from waiting for a writer).
  const std::string fifo = dir.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  FilePtr h(f_open(fifo.c_str(), kB | FM_READ | FM_WRITE | FM_NOTRUNC, 0, nullptr));
  EXPECT_EQ(f_tell(h.get()), -1);
  EXPECT_EQ(f_seek(h.get(), 0, SEEK_SET), -1);
  EXPECT_EQ(stackText(), "308 f_tell: Impossibile determinare posizione nel file '" + fifo +
                             "' | 308 f_seek: Errore di posizionamento nel file '" + fifo + "'");
  TRclrerr();
  EXPECT_EQ(f_write(r.get(), "x", 1), 204);
  EXPECT_EQ(first(), "204 f_write: Errore 9='Bad file descriptor' sul file '" + path + "'");
  TRclrerr();  // a full device takes buffered bytes and fails when they are flushed
  EXPECT_EQ(f_save("/dev/full", kKindBinary, 0, "abc", 3), 205);
  EXPECT_EQ(stackText(),
            "205 f_close: Errore 28='No space left on device' sul file '/dev/full' | "
            "301 f_save: Esecuzione fallita");
}

TEST_F(FileLayer, SaveLoadSizesTemporaryNamesAndMemoryAtTheEdges) {
  // Round trips on disk and in memory; an empty save leaves an empty file or block.
  const std::string payload("\x30\x03\x02\x01\x00", 5), path = dir.file("rt.der");
  Block block("");
  for (const std::string& name : {path, block.name()}) {
    ASSERT_EQ(f_save(name.c_str(), kKindObject, 0, payload.data(), payload.size()), 0);
    EXPECT_EQ(fbersize(name.c_str()), 5);
    uint64_t length = 0;
    uint8_t* data = f_load(name.c_str(), kKindObject, 0, &length, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data), length), payload);
    TRFREE(data);
    EXPECT_EQ(f_save(name.c_str(), kKindObject, 0, nullptr, 0), 0);
    EXPECT_EQ(fbersize(name.c_str()), 0);
  }
  EXPECT_EQ(block.length(), 0u);
  EXPECT_EQ(readFile(path), "");
  const std::string missing = dir.file("missing");
  EXPECT_EQ(fbersize(missing.c_str()), -1);
  EXPECT_EQ(stackText(),
            "200 f_open: file '" + missing + "' non trovato | 301 fbersize: Esecuzione fallita");
  TRclrerr();
  char one[256], small[8];
  ASSERT_EQ(Nmaketemp((dir.path().string() + "/").c_str(), one, sizeof one), 0);
  const std::string prefix = dir.path().string() + "/kvt";
  EXPECT_EQ(std::string(one).substr(0, prefix.size()), prefix);
  EXPECT_EQ(strlen(one), prefix.size() + 6);
  struct stat st {};
  ASSERT_EQ(stat(one, &st), 0);  // the name is reserved on disk
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(removeTmpFile(one), 0);
  EXPECT_EQ(removeTmpFile(one), 231);
  EXPECT_EQ(test::currentText(), std::string("Fallita cancellazione file temporaneo: ") + one);
  TRclrerr();
  EXPECT_EQ(Nmaketemp(dir.file("missing/dir").c_str(), one, sizeof one), 30);
  EXPECT_EQ(first(), "30 Nmaketemp: Generazione casuale fallita");
  TRclrerr();
  EXPECT_EQ(Nmaketemp(dir.path().c_str(), small, sizeof small), 5);
  EXPECT_EQ(first(), "5 Nmaketemp: size (3)");
  EXPECT_EQ(std::string(one) + small, "");
  TRclrerr();
  // Memory files in three pages: read-write, inaccessible, read-only.
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void* mapped =
      mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  uint8_t *end = static_cast<uint8_t*>(mapped) + page, *readOnly = end + page, *nearEnd = end - 8;
  const uint32_t tooLong = 100, three = 3;
  memcpy(nearEnd, &tooLong, 4);
  memcpy(readOnly, &three, 4);
  memcpy(readOnly + 4, "xyz", 3);
  ASSERT_EQ(mprotect(end, page, PROT_NONE) + mprotect(readOnly, page, PROT_READ), 0);
  const std::tuple<uint8_t*, uint32_t, uint16_t, const char*> rows[] = {
      {end, FM_READ | kB, 200, "Memoria all'indirizzo '%s' non leggibile"},
      {end + 16, FM_WRITE | kKindText, 203, "Memoria all'indirizzo '%s' non scrivibile"},
      {readOnly, FM_WRITE | kB, 203, "Memoria all'indirizzo '%s' non scrivibile"},
      {end - 2, FM_READ | kB, 200, "Memoria all'indirizzo '%s' non leggibile"},
      {nearEnd, FM_READ | kB, 200, "Il file in memoria '%s' supera la memoria accessibile"},
      {nearEnd, FM_READ | FM_WRITE | FM_NOTRUNC | kB, 203,
       "Il file in memoria '%s' supera la memoria accessibile"},
  };
  for (const auto& [block, flags, code, message] : rows) {
    const std::string name = memoryName(block);
    TRclrerr();
    uint16_t rc = 0;
    EXPECT_EQ(f_open(name.c_str(), flags, 0, &rc), nullptr) << name;
    EXPECT_EQ(rc, code) << name;
    char expected[128];
    snprintf(expected, sizeof expected, message, name.c_str());
    EXPECT_EQ(test::firstMessage(), expected);
  }
  // Writing stops at the end of the caller's memory; the block reads back whole.
  const std::string name = memoryName(end - 10);  // room for the length word and 6 bytes
  TRclrerr();
  FilePtr out(f_open(name.c_str(), FM_WRITE | kB, 0, nullptr));
  ASSERT_TRUE(out);
  EXPECT_EQ(f_write(out.get(), "abcdef", 6), 0);
  EXPECT_EQ(f_write(out.get(), "g", 1), 204);
  EXPECT_EQ(test::firstMessage(),
            "Superata la dimensione massima del file in memoria '" + name + "'");
  EXPECT_EQ(f_close(out.release()), 0);
  FilePtr in(f_open(name.c_str(), FM_READ | kB, 0, nullptr));
  char text[8] = {};
  EXPECT_EQ(f_read(in.get(), text, sizeof text), 6u);
  EXPECT_STREQ(text, "abcdef");
  // A read-only page serves as input.
  FilePtr input(f_open(memoryName(readOnly).c_str(), FM_READ | kB, 0, nullptr));
  EXPECT_EQ(f_size(input.get()), 3);
  munmap(mapped, 3 * page);
}

}  // namespace
}  // namespace sigillo
