#pragma once

#include "data/SearchIndex.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

// Batches of rows on their way from the thread that reads the store to the one that indexes
// them. A few batches go round, so that their names' buffers are reused rather than allocated
// for every row.
class RowPipe {
public:
    static constexpr size_t BatchRows = 4096;
    struct Batch {
        std::vector<SearchIndex::Source> rows;
        size_t count = 0;
    };

    RowPipe()
    {
        for (Batch& batch : m_batches)
            m_free.push_back(&batch);
    }
    // The row to fill next, on the reading side; full batches are sent on.
    SearchIndex::Source& next()
    {
        if (m_writing != nullptr && m_writing->count == BatchRows)
            send(std::exchange(m_writing, nullptr));
        if (m_writing == nullptr)
            m_writing = empty();
        if (m_writing->count == m_writing->rows.size())
            m_writing->rows.emplace_back();
        return m_writing->rows[m_writing->count++];
    }
    // Sends the rows written and tells the indexer that no more follow.
    void finish()
    {
        if (m_writing != nullptr)
            send(std::exchange(m_writing, nullptr));
        close();
    }

    // A batch to fill, once the indexer has given one back.
    Batch* empty()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_free.empty(); });
        Batch* batch = m_free.back();
        m_free.pop_back();
        batch->count = 0;
        return batch;
    }
    void send(Batch* batch)
    {
        const std::lock_guard lock(m_mutex);
        m_full.push_back(batch);
        m_changed.notify_all();
    }
    void close()
    {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
        m_changed.notify_all();
    }
    // The next filled batch, or null once the pipe is closed and empty.
    Batch* receive()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_full.empty() || m_closed; });
        if (m_full.empty())
            return nullptr;
        Batch* batch = m_full.front();
        m_full.pop_front();
        return batch;
    }
    void giveBack(Batch* batch)
    {
        const std::lock_guard lock(m_mutex);
        m_free.push_back(batch);
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::array<Batch, 4> m_batches;
    std::vector<Batch*> m_free;
    std::deque<Batch*> m_full;
    Batch* m_writing = nullptr;
    bool m_closed = false;
};
