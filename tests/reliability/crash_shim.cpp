// Preloaded into a child process: kills it with SIGKILL just before its Nth write to one file,
// as a pulled plug or kill -9 would stop it. QM_CRASH_FILE names the file (a trailing "*" takes
// every name that starts with the rest), QM_CRASH_AT is N.
// With QM_SYNC_BEFORE_RENAME set, renaming a file that this process never synced (fsync or
// fdatasync), or wrote to since, ends the process with exit code 86: a power cut right after such
// a rename can leave the new name on an empty or partial file. Writes through stdio stay inside
// the C library and are not seen, hence the first rule.
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

// Inodes written and not yet synced, and inodes ever synced; a handful of files at a time is
// all a test makes.
constexpr int Tracked = 64;
std::atomic<ino_t> unsynced[Tracked];
std::atomic<ino_t> everSynced[Tracked];

bool holds(const std::atomic<ino_t> (&slots)[Tracked], ino_t inode)
{
    for (const auto& slot : slots) {
        if (slot == inode)
            return true;
    }
    return false;
}

void add(std::atomic<ino_t> (&slots)[Tracked], ino_t inode)
{
    if (inode == 0 || holds(slots, inode))
        return;
    for (auto& slot : slots) {
        ino_t empty = 0;
        if (slot.compare_exchange_strong(empty, inode))
            return;
    }
}

bool checkingSync()
{
    static const bool on = std::getenv("QM_SYNC_BEFORE_RENAME") != nullptr;
    return on;
}

ino_t inodeOf(int fd)
{
    struct stat st {};
    return ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) ? st.st_ino : 0;
}

void written(int fd)
{
    if (checkingSync())
        add(unsynced, inodeOf(fd));
}

void synced(int fd)
{
    const ino_t inode = checkingSync() ? inodeOf(fd) : 0;
    if (inode == 0)
        return;
    add(everSynced, inode);
    for (auto& slot : unsynced) {
        ino_t mine = inode;
        slot.compare_exchange_strong(mine, 0);
    }
}

void beforeRename(const char* from)
{
    struct stat st {};
    if (!checkingSync() || ::stat(from, &st) != 0 || !S_ISREG(st.st_mode))
        return;
    if (holds(unsynced, st.st_ino) || !holds(everSynced, st.st_ino)) {
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
    written(fd);
    return real(fd, buffer, size);
}

ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite");
    beforeWrite(fd);
    written(fd);
    return real(fd, buffer, size, offset);
}

ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t, off64_t)>("pwrite64");
    beforeWrite(fd);
    written(fd);
    return real(fd, buffer, size, offset);
}

int fsync(int fd)
{
    static const auto real = next<int (*)(int)>("fsync");
    synced(fd);
    return real(fd);
}

int fdatasync(int fd)
{
    static const auto real = next<int (*)(int)>("fdatasync");
    synced(fd);
    return real(fd);
}

int rename(const char* from, const char* to)
{
    static const auto real = next<int (*)(const char*, const char*)>("rename");
    beforeRename(from);
    return real(from, to);
}
}
