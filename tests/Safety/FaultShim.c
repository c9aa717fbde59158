// Fault injection for a whole process, preloaded (LD_PRELOAD) into the tool by the tests of
// this folder. MIRAFILE_FAULT="KIND:N:ERRNO" makes the Nth call of that kind fail with ERRNO,
// or, with ERRNO "kill", kills the process with SIGKILL before it. Kinds: read, write (of
// regular files only, so that standard output and error go through), grow (any change of
// length), sync, rename. MIRAFILE_FAULT_COUNTS names a file that gets, at a normal exit, the
// number of calls of each kind, one "KIND N" a line.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum
{
    kRead,
    kWrite,
    kGrow,
    kSync,
    kRename,
    kKinds
};
static const char* const kNames[kKinds] = {"read", "write", "grow", "sync", "rename"};
static atomic_long sCounts[kKinds];
static int sKind = -1;
static long sNth = 0;
static int sError = 0; // 0: kill

__attribute__((constructor)) static void Setup(void)
{
    const char* fault = getenv("MIRAFILE_FAULT");
    if (!fault)
        return;
    for (int k = 0; k < kKinds; ++k)
    {
        const size_t n = strlen(kNames[k]);
        if (strncmp(fault, kNames[k], n) == 0 && fault[n] == ':')
        {
            char* rest = NULL;
            sNth = strtol(fault + n + 1, &rest, 10);
            if (rest && *rest == ':')
                sError = strcmp(rest + 1, "kill") == 0 ? 0 : atoi(rest + 1);
            sKind = k;
        }
    }
}

__attribute__((destructor)) static void Report(void)
{
    const char* path = getenv("MIRAFILE_FAULT_COUNTS");
    if (!path)
        return;
    FILE* out = fopen(path, "w");
    if (!out)
        return;
    for (int k = 0; k < kKinds; ++k)
        fprintf(out, "%s %ld\n", kNames[k], atomic_load(&sCounts[k]));
    fclose(out);
}

// Counts a call; nonzero (errno set) when it is to fail.
static int Hit(int iKind)
{
    const long n = atomic_fetch_add(&sCounts[iKind], 1) + 1;
    if (iKind != sKind || n != sNth)
        return 0;
    if (sError == 0)
        kill(getpid(), SIGKILL);
    errno = sError;
    return 1;
}

static int IsRegular(int iFD)
{
    struct stat info;
    return fstat(iFD, &info) == 0 && S_ISREG(info.st_mode);
}

#define NEXT(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

ssize_t pread(int fd, void* buf, size_t count, off_t offset)
{
    if (Hit(kRead))
        return -1;
    return NEXT(pread)(fd, buf, count, offset);
}
ssize_t pread64(int fd, void* buf, size_t count, off_t offset)
{
    if (Hit(kRead))
        return -1;
    return NEXT(pread64)(fd, buf, count, offset);
}
ssize_t read(int fd, void* buf, size_t count)
{
    if (IsRegular(fd) && Hit(kRead))
        return -1;
    return NEXT(read)(fd, buf, count);
}
ssize_t pwrite(int fd, const void* buf, size_t count, off_t offset)
{
    if (Hit(kWrite))
        return -1;
    return NEXT(pwrite)(fd, buf, count, offset);
}
ssize_t pwrite64(int fd, const void* buf, size_t count, off_t offset)
{
    if (Hit(kWrite))
        return -1;
    return NEXT(pwrite64)(fd, buf, count, offset);
}
ssize_t write(int fd, const void* buf, size_t count)
{
    if (IsRegular(fd) && Hit(kWrite))
        return -1;
    return NEXT(write)(fd, buf, count);
}
int ftruncate(int fd, off_t length)
{
    if (Hit(kGrow))
        return -1;
    return NEXT(ftruncate)(fd, length);
}
int ftruncate64(int fd, off_t length)
{
    if (Hit(kGrow))
        return -1;
    return NEXT(ftruncate64)(fd, length);
}
int fallocate(int fd, int mode, off_t offset, off_t len)
{
    if (Hit(kGrow))
        return -1;
    return NEXT(fallocate)(fd, mode, offset, len);
}
int fallocate64(int fd, int mode, off_t offset, off_t len)
{
    if (Hit(kGrow))
        return -1;
    return NEXT(fallocate64)(fd, mode, offset, len);
}
int fsync(int fd)
{
    if (Hit(kSync))
        return -1;
    return NEXT(fsync)(fd);
}
int fdatasync(int fd)
{
    if (Hit(kSync))
        return -1;
    return NEXT(fdatasync)(fd);
}
int rename(const char* from, const char* to)
{
    if (Hit(kRename))
        return -1;
    return NEXT(rename)(from, to);
}
int renameat(int fromDir, const char* from, int toDir, const char* to)
{
    if (Hit(kRename))
        return -1;
    return NEXT(renameat)(fromDir, from, toDir, to);
}
int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned int flags)
{
    if (Hit(kRename))
        return -1;
    return NEXT(renameat2)(fromDir, from, toDir, to, flags);
}
int link(const char* from, const char* to)
{
    if (Hit(kRename))
        return -1;
    return NEXT(link)(from, to);
}
