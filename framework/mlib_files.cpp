// Option-driven file routines and the handler context of the macros.
#include <cstring>
#include <memory>
#include <new>

#include "framework/kvtmem.h"
#include "framework/mlib.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "mlib";
constexpr uint64_t kTableSize = 256;

bool overwriteAllowed(const WCopt* options) { return WCoptused(options, "o"); }

}  // namespace

FHandle* open_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                   uint16_t* rc) {
  const char* name = WCoptstr(options, option);
  if (name == nullptr) return nullptr;
  if (!overwriteAllowed(options) && (flags & FM_WRITE) != 0) flags |= FM_NOTRUNC;
  return f_open(name, flags, mode, rc);
}

uint8_t* load_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                   uint64_t* length, uint16_t* rc) {
  return f_load(WCoptstr(options, option), flags | FM_READ, mode, length, rc);
}

uint16_t write_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                    const void* data, uint64_t length) {
  const char* name = WCoptstr(options, option);
  if (name == nullptr) return 0;
  uint16_t rc = 0;
  FilePtr file(f_open(name, flags | FM_WRITE, mode, &rc));
  if (!file) return TRLASTERR_AS("write_file");
  if (f_write(file.get(), data, length) != 0) return TRLASTERR_AS("write_file");
  if (f_close(file.release()) != 0) return TRLASTERR_AS("write_file");
  return 0;
}

uint16_t save_file(WCopt* options, const char* option, uint32_t flags, uint32_t mode,
                   const void* data, uint64_t length) {
  const char* name = WCoptstr(options, option);
  if (name == nullptr) return 0;
  flags |= overwriteAllowed(options) ? FM_WRITE : (FM_WRITE | FM_NOTRUNC);
  uint16_t rc = 0;
  FilePtr file(f_open(name, flags, mode, &rc));
  if (!file) return TRLASTERR_AS("save_file");
  if (f_write(file.get(), data, length) != 0) {
    return TRERR_AS("save_file", 204, "%s", name);
  }
  if (f_close(file.release()) != 0) return TRLASTERR_AS("save_file");
  return 0;
}

uint16_t chk_opts(WCopt* options, const char* outOption, OptContext** context) {
  *context = nullptr;
  const bool xtbl = WCoptused(options, "xtbl");
  const bool bin = WCoptused(options, "bin");
  if (xtbl && bin) return TRERR(215, "-xtbl in contrasto con -bin");
  std::unique_ptr<OptContext> ctx(new (std::nothrow) OptContext{kAsciiToEbcdic, false});
  if (ctx == nullptr) return TRERR(10, "Impossibile allocare %zu byte", sizeof(OptContext));
  if (bin) ctx->table = nullptr;
  if (xtbl) {
    uint64_t size = 0;
    uint16_t rc = 0;
    uint8_t* table = load_file(options, "xtbl", kKindBinary, 0, &size, &rc);
    if (table == nullptr) return TRLASTERR();
    if (size != kTableSize) {
      TRFREE(table);
      return TRERR(210, "%s", WCoptstr(options, "xtbl"));
    }
    ctx->table = table;
    ctx->loaded = true;
  }
  *context = ctx.release();
  if (outOption != nullptr) {
    const char* out = WCoptstr(options, outOption);
    if (out != nullptr && !overwriteAllowed(options) && f_exists(out)) {
      return TRERR(206, "%s", out);
    }
  }
  return 0;
}

void end_opts(WCopt*, OptContext* context) {
  if (context == nullptr) return;
  const std::unique_ptr<OptContext> owned(context);
  if (context->loaded) TRFREE(const_cast<uint8_t*>(context->table));
}

}  // namespace sigillo
