#include "saddlefit/database.h"

#include "database/stream.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace saddlefit;

bool sameInode(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Two paths to one file's contents, through whatever links: emptying one would empty the other.
bool sameContents(const char *a, const char *b) {
    struct stat first = {}, second = {};
    return a && b && stat(a, &first) == 0 && stat(b, &second) == 0 && sameInode(first, second);
}

/// Two spellings of a file's only name: removing one would remove the file. Neither a symbolic link
/// nor a second hard link is meant; those can be removed.
bool sameOnlyName(const char *a, const char *b) {
    struct stat first = {}, second = {};
    return lstat(a, &first) == 0 && lstat(b, &second) == 0 && sameInode(first, second) &&
           first.st_nlink == 1;
}

} // namespace

int32_t fileSize(const char *path) {
    const OwnedFile file = openFile(path, "rb");
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) return 0;
    constexpr long largest = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(std::ftell(file.get()), 0L, largest));
}

int32_t fileExists(const char *path) {
    struct stat status = {};
    return path && stat(path, &status) == 0;
}

int32_t removeFile(const char *path) {
    return path ? unlink(path) : -1;
}

int32_t copyFile(const char *source, const char *destination) {
    if (sameContents(source, destination)) return 0;
    const OwnedFile from = openFile(source, "rb");
    if (!from) return 0;
    OwnedFile to = openFile(destination, "wb");
    if (!to) return 0;
    for (int c; (c = std::getc(from.get())) != EOF;)
        std::putc(c, to.get());
    const bool written = !std::ferror(to.get());
    const bool closed = std::fclose(to.release()) == 0;
    return written && closed ? 0 : -1;
}

int32_t renameFile(const char *oldPath, const char *newPath) {
    if (!fileExists(oldPath)) return 0;
    if (!newPath) return -1;
    if (std::strcmp(oldPath, newPath) == 0 || sameOnlyName(oldPath, newPath)) return 0;
    removeFile(newPath);
    return std::rename(oldPath, newPath);
}
