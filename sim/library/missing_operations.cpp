// Lets the library lack operations: when it is loaded, it takes their names out of the table in
// which the loader looks them up, so that dlsym() fails for them as for any other unknown name. A
// program that is linked with the library has found its operations before.
#include "machine/session.h"

#include <cstdlib>
#include <string>

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zansim {

namespace {

// The loader passes over a symbol without a value.
void hide(ElfW(Sym) & symbol) {
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const std::size_t place = reinterpret_cast<std::uintptr_t>(&symbol) % pageSize;
  const std::size_t length = place + sizeof symbol;
  char* const pages = reinterpret_cast<char*>(&symbol) - place;
  if (mprotect(pages, length, PROT_READ | PROT_WRITE) == 0) symbol.st_value = 0;
  mprotect(pages, length, PROT_READ);
}

void hideOperation(void* operation) {
  Dl_info library = {};
  void* symbol = nullptr;
  if (dladdr1(operation, &library, &symbol, RTLD_DL_SYMENT) != 0 && symbol != nullptr) {
    hide(*static_cast<ElfW(Sym)*>(symbol));
  }
}

[[gnu::constructor]] void hideMissingOperations() {
  const char* const missing = std::getenv(kMissingVariable);
  if (missing == nullptr) return;
  const OperationSet set{std::string(missing)};
#define ZANSIM_HIDE(name) \
  if (set.test(indexOf(Operation::name))) hideOperation(reinterpret_cast<void*>(&(name)));
  ZANML_OPERATIONS(ZANSIM_HIDE)
#undef ZANSIM_HIDE
}

}  // namespace

}  // namespace zansim
