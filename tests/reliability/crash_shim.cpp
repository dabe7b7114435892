// Preloaded into a child process: kills it with SIGKILL just before its Nth write to one file,
// as a pulled plug or kill -9 would stop it. QM_CRASH_FILE names the file (a trailing "*" takes
// every name that starts with the rest), QM_CRASH_AT is N.
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
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
}
