#include "preload/redirect.h"

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
  if (getcwd(buffer.text, sizeof buffer.text) == nullptr) return nullptr;
  size_t length = strlen(buffer.text);
  if (length + 1 + strlen(path) >= sizeof buffer.text) return nullptr;
  if (length > 1) buffer.text[length++] = '/';
  memcpy(buffer.text + length, path, strlen(path) + 1);
  return buffer.text;
}

const char* redirectedWhole(const char* path, PathBuffer& buffer) {
  for (const Redirection& redirection : kRedirections) {
    const char* const rest = restBehind(path, redirection.from, redirection.reach);
    if (rest == nullptr) continue;
    const char* const state = stateDirectory();
    if (state == nullptr) return nullptr;
    const size_t stateLength = strlen(state);
    const size_t toLength = strlen(redirection.to);
    const size_t restLength = strlen(rest);
    // Too long to be the name of anything: the real function says so.
    if (stateLength + toLength + restLength >= sizeof buffer.text) return nullptr;
    memcpy(buffer.text, state, stateLength);
    memcpy(buffer.text + stateLength, redirection.to, toLength);
    memcpy(buffer.text + stateLength + toLength, rest, restLength + 1);
    return buffer.text;
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
