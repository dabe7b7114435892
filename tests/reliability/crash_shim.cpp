// Preloaded into a child process: kills it with SIGKILL just before its Nth write to one file,
// as a pulled plug or kill -9 would stop it. QM_CRASH_FILE names the file (a trailing "*" takes
// every name that starts with the rest), QM_CRASH_AT is N.
// With QM_SYNC_BEFORE_RENAME set, renaming a file that this process never synced (fsync or
// fdatasync) ends the process with exit code 86: a power cut right after such a rename can leave
// the new name on an empty or partial file. Writes through stdio stay inside the C library, so
// it is the sync that is watched, not the writes.
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

std::atomic<long> counted{0};

bool watched(int fd)
{
    const char* wanted = std::getenv("QM_CRASH_FILE");
    if (!wanted || !*wanted)
        return false;
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char target[PATH_MAX];
    const ssize_t n = ::readlink(link, target, sizeof target - 1);
    if (n <= 0)
        return false;
    target[n] = '\0';
    const char* slash = std::strrchr(target, '/');
    const char* base = slash ? slash + 1 : target;
    const size_t length = std::strlen(wanted);
    if (wanted[length - 1] == '*')
        return std::strncmp(base, wanted, length - 1) == 0;
    return std::strcmp(base, wanted) == 0;
}

void beforeWrite(int fd)
{
    const char* at = std::getenv("QM_CRASH_AT");
    if (at && watched(fd) && ++counted == std::atol(at))
        ::kill(::getpid(), SIGKILL);
}

// Inodes synced; a handful of files at a time is all a test makes.
constexpr int Tracked = 64;
std::atomic<ino_t> synced[Tracked];

bool checkingSync()
{
    static const bool on = std::getenv("QM_SYNC_BEFORE_RENAME") != nullptr;
    return on;
}

bool wasSynced(ino_t inode)
{
    for (const auto& slot : synced) {
        if (slot == inode)
            return true;
    }
    return false;
}

void sync(int fd)
{
    struct stat st {};
    if (!checkingSync() || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || wasSynced(st.st_ino))
        return;
    for (auto& slot : synced) {
        ino_t empty = 0;
        if (slot.compare_exchange_strong(empty, st.st_ino))
            return;
    }
}

void beforeRename(const char* from)
{
    struct stat st {};
    if (!checkingSync() || ::stat(from, &st) != 0 || !S_ISREG(st.st_mode))
        return;
    if (!wasSynced(st.st_ino)) {
        std::fprintf(stderr, "renamed %s before its writes were synced\n", from);
        ::_exit(86);
    }
}

template <class F> F next(const char* name)
{
    return reinterpret_cast<F>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

ssize_t write(int fd, const void* buffer, size_t size)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t)>("write");
    beforeWrite(fd);
    return real(fd, buffer, size);
}

ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite");
    beforeWrite(fd);
    return real(fd, buffer, size, offset);
}

ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t, off64_t)>("pwrite64");
    beforeWrite(fd);
    return real(fd, buffer, size, offset);
}

int fsync(int fd)
{
    static const auto real = next<int (*)(int)>("fsync");
    sync(fd);
    return real(fd);
}

int fdatasync(int fd)
{
    static const auto real = next<int (*)(int)>("fdatasync");
    sync(fd);
    return real(fd);
}

int rename(const char* from, const char* to)
{
    static const auto real = next<int (*)(const char*, const char*)>("rename");
    beforeRename(from);
    return real(from, to);
}
}
