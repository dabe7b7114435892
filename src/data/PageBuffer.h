#pragma once

#include <cstddef>
#include <utility>

// Zeroed memory for a large, short-lived buffer, taken from the system and given back to it when
// the buffer goes: the allocator would keep it when an indexer thread frees it, at the top of that
// thread's heap, where trimming does not reach. Pages never written are never made resident.
class PageBuffer {
public:
    PageBuffer() = default;
    // Throws std::bad_alloc when the system has no room.
    explicit PageBuffer(size_t bytes);
    ~PageBuffer();
    PageBuffer(PageBuffer&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr)), m_size(std::exchange(other.m_size, 0))
    {}
    PageBuffer& operator=(PageBuffer&& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        return *this;
    }
    PageBuffer(const PageBuffer&) = delete;
    PageBuffer& operator=(const PageBuffer&) = delete;

    unsigned char* data() const { return m_data; }
    size_t size() const { return m_size; }

private:
    unsigned char* m_data = nullptr;
    size_t m_size = 0;
};
