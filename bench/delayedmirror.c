// delayedmirror MOUNTPOINT DIRECTORY MICROSECONDS: shows DIRECTORY, read only, as a server far away
// would: whatever the kernel asks takes that much longer. Names and attributes are kept for a
// minute, as clients of servers do. scripts/scan-delayed builds and uses it.
#define _GNU_SOURCE
#define FUSE_USE_VERSION 31
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

static int base;          // the mirrored directory
static useconds_t delay;  // of every answer

// The path in the mirrored directory: "/a/b" is "a/b" there.
static const char* Below(const char* path) {
  return path[1] == '\0' ? "." : path + 1;
}

static int Attributes(const char* path, struct stat* info, struct fuse_file_info* file) {
  (void)file;
  usleep(delay);
  return fstatat(base, Below(path), info, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : -errno;
}

static int Open(const char* path, struct fuse_file_info* file) {
  usleep(delay);
  // Two scans of the same tree are to be equal, times of access included.
  const int fd = openat(base, Below(path), O_RDONLY | O_DIRECTORY | O_NOATIME | O_CLOEXEC);
  DIR* const directory = fd < 0 ? NULL : fdopendir(fd);
  if (directory == NULL) return -errno;
  file->fh = (uintptr_t)directory;
  return 0;
}

static int List(const char* path, void* names, fuse_fill_dir_t fill, off_t offset,
                struct fuse_file_info* file, enum fuse_readdir_flags flags) {
  (void)path, (void)offset, (void)flags;
  usleep(delay);
  DIR* const directory = (DIR*)(uintptr_t)file->fh;
  rewinddir(directory);
  for (const struct dirent* entry; (entry = readdir(directory)) != NULL;) {
    const struct stat known = {.st_ino = entry->d_ino, .st_mode = (mode_t)entry->d_type << 12};
    if (fill(names, entry->d_name, &known, 0, 0) != 0) break;
  }
  return 0;
}

static int Close(const char* path, struct fuse_file_info* file) {
  (void)path;
  closedir((DIR*)(uintptr_t)file->fh);
  return 0;
}

static int Target(const char* path, char* target, size_t size) {
  usleep(delay);
  const ssize_t length = readlinkat(base, Below(path), target, size - 1);
  if (length < 0) return -errno;
  target[length] = '\0';
  return 0;
}

static void* Start(struct fuse_conn_info* connection, struct fuse_config* config) {
  connection->want &= ~(unsigned)(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
  config->attr_timeout = config->entry_timeout = 60;
  config->use_ino = 1;
  return NULL;
}

// libfuse 3.14 does not pass on that names in one directory may be looked up at the same time, as
// clients of servers do it: the bit is set here, in the first answer (that to FUSE_INIT).
ssize_t writev(int fd, const struct iovec* parts, int count) {
  enum { kParallelLookups = 1 << 18, kFlagsAt = 3 };
  static int answered;
  ssize_t (*const write)(int, const struct iovec*, int) =
      (ssize_t(*)(int, const struct iovec*, int))dlsym(RTLD_NEXT, "writev");
  if (!answered && count == 2 && parts[1].iov_len >= 4 * sizeof(uint32_t)) {
    answered = 1;
    ((uint32_t*)parts[1].iov_base)[kFlagsAt] |= kParallelLookups;
  }
  return write(fd, parts, count);
}

int main(int argc, char** argv) {
  static const struct fuse_operations kOperations = {.getattr = Attributes,
                                                     .readlink = Target,
                                                     .opendir = Open,
                                                     .readdir = List,
                                                     .releasedir = Close,
                                                     .init = Start};
  if (argc != 4) {
    fprintf(stderr, "usage: delayedmirror MOUNTPOINT DIRECTORY MICROSECONDS\n");
    return 2;
  }
  base = open(argv[2], O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (base < 0) {
    perror(argv[2]);
    return 1;
  }
  delay = (useconds_t)strtoul(argv[3], NULL, 10);
  char options[] = "max_idle_threads=100,max_threads=100,ro";
  char* arguments[] = {argv[0], "-f", "-o", options, argv[1], NULL};
  return fuse_main(5, arguments, &kOperations, NULL);
}
