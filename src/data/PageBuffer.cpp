#include "data/PageBuffer.h"

#include <new>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#endif

PageBuffer::PageBuffer(size_t bytes) : m_size(bytes)
{
    if (bytes == 0)
        return;
#if defined(_WIN32)
    m_data = static_cast<unsigned char*>(
        VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    if (m_data == nullptr)
        throw std::bad_alloc();
#else
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        throw std::bad_alloc();
    m_data = static_cast<unsigned char*>(pages);
#endif
}

PageBuffer::~PageBuffer()
{
    if (m_data == nullptr)
        return;
#if defined(_WIN32)
    VirtualFree(m_data, 0, MEM_RELEASE);
#else
    munmap(m_data, m_size);
#endif
}
