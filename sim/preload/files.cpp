// Stands in for the functions that take paths.
#include "preload/interpose.h"
#include "preload/redirect.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

// A function whose parameter `path` is redirected, and which is otherwise passed on.
#define ZANSIM_REDIRECT(result, name, parameters, arguments) \
  ZANSIM_STAND_IN(result, name, parameters) {                \
    ZANSIM_NEXT(result, name, parameters);                   \
    PathBuffer buffer;                                       \
    path = redirected(path, buffer);                         \
    return next arguments;                                   \
  }

// The same for a path that may begin in the directory `at`.
#define ZANSIM_REDIRECT_AT(result, name, parameters, arguments) \
  ZANSIM_STAND_IN(result, name, parameters) {                   \
    ZANSIM_NEXT(result, name, parameters);                      \
    PathBuffer buffer;                                          \
    path = redirectedAt(at, path, buffer);                      \
    return next arguments;                                      \
  }

ZANSIM_REDIRECT(DIR*, opendir, (const char* path), (path))
ZANSIM_REDIRECT(FILE*, fopen, (const char* path, const char* mode), (path, mode))
ZANSIM_REDIRECT(FILE*, fopen64, (const char* path, const char* mode), (path, mode))
ZANSIM_REDIRECT(FILE*, freopen, (const char* path, const char* mode, FILE* stream),
                (path, mode, stream))
ZANSIM_REDIRECT(FILE*, freopen64, (const char* path, const char* mode, FILE* stream),
                (path, mode, stream))
ZANSIM_REDIRECT(int, creat, (const char* path, mode_t mode), (path, mode))
ZANSIM_REDIRECT(int, creat64, (const char* path, mode_t mode), (path, mode))
ZANSIM_REDIRECT(int, stat, (const char* path, struct stat* status), (path, status))
ZANSIM_REDIRECT(int, stat64, (const char* path, struct stat64* status), (path, status))
ZANSIM_REDIRECT(int, lstat, (const char* path, struct stat* status), (path, status))
ZANSIM_REDIRECT(int, lstat64, (const char* path, struct stat64* status), (path, status))
ZANSIM_REDIRECT_AT(int, fstatat, (int at, const char* path, struct stat* status, int flags),
                   (at, path, status, flags))
ZANSIM_REDIRECT_AT(int, fstatat64, (int at, const char* path, struct stat64* status, int flags),
                   (at, path, status, flags))
ZANSIM_REDIRECT_AT(int, statx,
                   (int at, const char* path, int flags, unsigned mask, struct statx* status),
                   (at, path, flags, mask, status))
ZANSIM_REDIRECT(int, access, (const char* path, int mode), (path, mode))
ZANSIM_REDIRECT_AT(int, faccessat, (int at, const char* path, int mode, int flags),
                   (at, path, mode, flags))
ZANSIM_REDIRECT(int, mkdir, (const char* path, mode_t mode), (path, mode))
ZANSIM_REDIRECT_AT(int, mkdirat, (int at, const char* path, mode_t mode), (at, path, mode))
ZANSIM_REDIRECT(int, rmdir, (const char* path), (path))
ZANSIM_REDIRECT(int, unlink, (const char* path), (path))
ZANSIM_REDIRECT_AT(int, unlinkat, (int at, const char* path, int flags), (at, path, flags))
ZANSIM_REDIRECT(int, remove, (const char* path), (path))
ZANSIM_REDIRECT(int, chmod, (const char* path, mode_t mode), (path, mode))
ZANSIM_REDIRECT_AT(int, fchmodat, (int at, const char* path, mode_t mode, int flags),
                   (at, path, mode, flags))
ZANSIM_REDIRECT(int, chown, (const char* path, uid_t user, gid_t group), (path, user, group))
ZANSIM_REDIRECT(int, lchown, (const char* path, uid_t user, gid_t group), (path, user, group))
ZANSIM_REDIRECT_AT(int, fchownat, (int at, const char* path, uid_t user, gid_t group, int flags),
                   (at, path, user, group, flags))
ZANSIM_REDIRECT_AT(int, utimensat,
                   (int at, const char* path, const struct timespec* times, int flags),
                   (at, path, times, flags))
ZANSIM_REDIRECT(int, mkfifo, (const char* path, mode_t mode), (path, mode))
ZANSIM_REDIRECT(int, mknod, (const char* path, mode_t mode, dev_t device), (path, mode, device))
ZANSIM_REDIRECT(int, truncate, (const char* path, off_t length), (path, length))
ZANSIM_REDIRECT(int, chdir, (const char* path), (path))
ZANSIM_REDIRECT(int, symlink, (const char* target, const char* path), (target, path))
ZANSIM_REDIRECT_AT(int, symlinkat, (const char* target, int at, const char* path),
                   (target, at, path))
ZANSIM_REDIRECT_AT(ssize_t, readlinkat, (int at, const char* path, char* text, size_t size),
                   (at, path, text, size))
ZANSIM_REDIRECT(ssize_t, readlink, (const char* path, char* text, size_t size), (path, text, size))
ZANSIM_REDIRECT(ssize_t, getxattr, (const char* path, const char* name, void* value, size_t size),
                (path, name, value, size))
ZANSIM_REDIRECT(ssize_t, lgetxattr, (const char* path, const char* name, void* value, size_t size),
                (path, name, value, size))
// What programs built with fortification call instead.
ZANSIM_REDIRECT(int, __open_2, (const char* path, int flags), (path, flags))
ZANSIM_REDIRECT(int, __open64_2, (const char* path, int flags), (path, flags))
ZANSIM_REDIRECT_AT(int, __openat_2, (int at, const char* path, int flags), (at, path, flags))
ZANSIM_REDIRECT_AT(int, __openat64_2, (int at, const char* path, int flags), (at, path, flags))

namespace {

// O_TMPFILE consists of several bits, of which O_DIRECTORY is one.
bool takesMode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

}  // namespace

// The mode is there only when a file may be created.
#define ZANSIM_REDIRECT_OPEN(name, parameters, directory, arguments) \
  ZANSIM_STAND_IN(int, name, parameters) {                           \
    ZANSIM_NEXT(int, name, parameters);                              \
    mode_t mode = 0;                                                 \
    if (takesMode(flags)) {                                          \
      va_list rest;                                                  \
      va_start(rest, flags);                                         \
      mode = va_arg(rest, mode_t);                                   \
      va_end(rest);                                                  \
    }                                                                \
    PathBuffer buffer;                                               \
    path = redirectedAt(directory, path, buffer);                    \
    return next arguments;                                           \
  }

ZANSIM_REDIRECT_OPEN(open, (const char* path, int flags, ...), AT_FDCWD, (path, flags, mode))
ZANSIM_REDIRECT_OPEN(open64, (const char* path, int flags, ...), AT_FDCWD, (path, flags, mode))
ZANSIM_REDIRECT_OPEN(openat, (int at, const char* path, int flags, ...), at,
                     (at, path, flags, mode))
ZANSIM_REDIRECT_OPEN(openat64, (int at, const char* path, int flags, ...), at,
                     (at, path, flags, mode))

// A function with two paths, both redirected.
#define ZANSIM_REDIRECT_BOTH(name, parameters, fromAt, toAt, arguments) \
  ZANSIM_STAND_IN(int, name, parameters) {                              \
    ZANSIM_NEXT(int, name, parameters);                                 \
    PathBuffer fromBuffer;                                              \
    PathBuffer toBuffer;                                                \
    from = redirectedAt(fromAt, from, fromBuffer);                      \
    to = redirectedAt(toAt, to, toBuffer);                              \
    return next arguments;                                              \
  }

ZANSIM_REDIRECT_BOTH(rename, (const char* from, const char* to), AT_FDCWD, AT_FDCWD, (from, to))
ZANSIM_REDIRECT_BOTH(link, (const char* from, const char* to), AT_FDCWD, AT_FDCWD, (from, to))
ZANSIM_REDIRECT_BOTH(linkat, (int fromAt, const char* from, int toAt, const char* to, int flags),
                     fromAt, toAt, (fromAt, from, toAt, to, flags))
ZANSIM_REDIRECT_BOTH(renameat, (int fromAt, const char* from, int toAt, const char* to), fromAt,
                     toAt, (fromAt, from, toAt, to))
ZANSIM_REDIRECT_BOTH(renameat2,
                     (int fromAt, const char* from, int toAt, const char* to, unsigned flags),
                     fromAt, toAt, (fromAt, from, toAt, to, flags))

namespace {

// Also after a failure: the buffer then holds the part of the path that does not exist.
char* resolve(char* (*next)(const char*, char*), const char* path, char* resolved) {
  PathBuffer buffer;
  const char* const target = redirected(path, buffer);
  char* const result = next(target, resolved);
  if (target == path) return result;
  char* const text = resolved != nullptr ? resolved : result;
  if (text != nullptr) restore(text);
  return result;
}

}  // namespace

ZANSIM_STAND_IN(char*, realpath, (const char* path, char* resolved)) {
  ZANSIM_NEXT(char*, realpath, (const char*, char*));
  return resolve(next, path, resolved);
}

ZANSIM_STAND_IN(char*, canonicalize_file_name, (const char* path)) {
  ZANSIM_NEXT(char*, realpath, (const char*, char*));
  return resolve(next, path, nullptr);
}

ZANSIM_STAND_IN(char*, __realpath_chk, (const char* path, char* resolved, size_t)) {
  ZANSIM_NEXT(char*, realpath, (const char*, char*));
  return resolve(next, path, resolved);
}
