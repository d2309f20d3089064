#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

// A reader running on a thread of its own while the writer already reads the channel files it
// grows: what the reader tells the writer. Only the writer's thread talks to the host; the reader
// leaves its progress here, and the writer waits here where a channel file ends for now.
namespace vibrex {

class ChannelFeed {
public:
    explicit ChannelFeed(int channelCount) : m_channels(static_cast<std::size_t>(channelCount)) {}

    // The reader's side; `channel` counts from 0.
    void Opened(int channel);
    // A flush of the channel file, or its close, has made more of it readable.
    void Grew(int channel, bool closed);
    // The reader's own count of work done, at its progress steps and when it returns.
    void Progressed(std::int64_t workDone);
    // The reader has returned: no file grows any more.
    void Finished();

    // The writer's side. Every change so far, counted: a channel file read after this count was
    // taken holds at least what the changes counted had written.
    std::uint64_t Changes() const;
    bool IsOpened(int channel) const;
    enum class Growth {
        Possible, // it has changed since `seen` changes (which then become the present count)
        Final,    // it has not, and no longer can: it is closed, or the reader has finished
        Pending,  // it has not yet
    };
    Growth GrowthSince(int channel, std::uint64_t& seen) const;
    bool HasProgress() const;
    // The reader's work done since the last call.
    std::int64_t TakeProgress();
    bool IsFinished() const;
    // Waits until there are more than `seen` changes or the reader has finished.
    void WaitForChange(std::uint64_t seen);

private:
    struct Channel {
        bool opened = false;
        bool closed = false;
    };

    // Counts a change made under the lock and wakes the writer.
    void Changed();

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Channel> m_channels;
    std::uint64_t m_changes = 0;
    std::int64_t m_workDone = 0;
    std::int64_t m_workTaken = 0;
    bool m_finished = false;
};

} // namespace vibrex
