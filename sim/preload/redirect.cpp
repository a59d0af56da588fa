#include "preload/redirect.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

enum class Reach { exact, tree, prefix };

struct Redirection {
  const char* from;
  Reach reach;
  const char* to;  // within the state directory
};

constexpr Redirection kRedirections[] = {
    {"/dev", Reach::exact, "/dev"},
    {"/dev/zanthe", Reach::prefix, "/dev/zanthe"},
    {"/var/run", Reach::tree, "/run"},
    {"/var/log/zanctl", Reach::tree, "/log/zanctl"},
    {"/sys/devices/system/node/online", Reach::exact, "/node_online"},
};

const char* stateDirectory() {
  static const char* directory = nullptr;
  if (directory == nullptr) directory = getenv("ZANSIM_STATE");
  return directory;
}

// Three pieces of a path in the buffer, or null where they do not fit.
const char* write(PathBuffer& buffer, const char* first, const char* second, const char* third) {
  const int length = snprintf(buffer.text, sizeof buffer.text, "%s%s%s", first, second, third);
  return length >= 0 && static_cast<size_t>(length) < sizeof buffer.text ? buffer.text : nullptr;
}

// The rest of the path behind the redirected part, or null when the redirection does not apply.
const char* restBehind(const char* path, const char* from, Reach reach) {
  const size_t length = strlen(from);
  if (strncmp(path, from, length) != 0) return nullptr;
  const char* const rest = path + length;
  switch (reach) {
    case Reach::exact:
      return strcmp(rest, "") == 0 || strcmp(rest, "/") == 0 ? rest : nullptr;
    case Reach::tree:
      return *rest == '\0' || *rest == '/' ? rest : nullptr;
    case Reach::prefix:
      return rest;
  }
  return nullptr;
}

// The whole path of a relative one, in the buffer, or null where it does not fit.
const char* whole(const char* path, PathBuffer& buffer) {
  while (path[0] == '.' && path[1] == '/') path += 2;
  char directory[PATH_MAX];
  if (getcwd(directory, sizeof directory) == nullptr) return nullptr;
  const char* const separator = directory[1] == '\0' ? "" : "/";
  return write(buffer, directory, separator, path);
}

const char* redirectedWhole(const char* path, PathBuffer& buffer) {
  const char* const state = stateDirectory();
  if (state == nullptr) return nullptr;
  for (const Redirection& redirection : kRedirections) {
    const char* const rest = restBehind(path, redirection.from, redirection.reach);
    // Too long to be the name of anything: the real function says so.
    if (rest != nullptr) return write(buffer, state, redirection.to, rest);
  }
  return nullptr;
}

}  // namespace

const char* redirected(const char* path, PathBuffer& buffer) {
  return redirectedAt(AT_FDCWD, path, buffer);
}

const char* redirectedAt(int directory, const char* path, PathBuffer& buffer) {
  if (path == nullptr || path[0] == '\0') return path;
  PathBuffer wholeBuffer;
  const char* text = path;
  if (path[0] != '/') text = directory == AT_FDCWD ? whole(path, wholeBuffer) : nullptr;
  const char* const target = text == nullptr ? nullptr : redirectedWhole(text, buffer);
  return target == nullptr ? path : target;
}

void restore(char* path) {
  const char* const state = stateDirectory();
  if (state == nullptr || strncmp(path, state, strlen(state)) != 0) return;
  const char* const within = path + strlen(state);
  for (const Redirection& redirection : kRedirections) {
    const char* const rest = restBehind(within, redirection.to, redirection.reach);
    if (rest == nullptr) continue;
    const size_t fromLength = strlen(redirection.from);
    const size_t restLength = strlen(rest);
    // A state directory with a very short name leaves no room; the path then stays as it is.
    if (fromLength > static_cast<size_t>(rest - path)) return;
    memmove(path + fromLength, rest, restLength + 1);
    memcpy(path, redirection.from, fromLength);
    return;
  }
}
