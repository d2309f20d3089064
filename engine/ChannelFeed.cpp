#include "engine/ChannelFeed.h"

namespace vibrex {

void ChannelFeed::Changed() {
    ++m_changes;
    m_changed.notify_all();
}

void ChannelFeed::Opened(int channel) {
    std::lock_guard lock(m_mutex);
    m_channels.at(static_cast<std::size_t>(channel)).opened = true;
    Changed();
}

void ChannelFeed::Grew(int channel, bool closed) {
    std::lock_guard lock(m_mutex);
    m_channels.at(static_cast<std::size_t>(channel)).closed |= closed;
    Changed();
}

void ChannelFeed::Progressed(std::int64_t workDone) {
    std::lock_guard lock(m_mutex);
    m_workDone = workDone;
    Changed();
}

void ChannelFeed::Finished() {
    std::lock_guard lock(m_mutex);
    m_finished = true;
    Changed();
}

std::uint64_t ChannelFeed::Changes() const {
    std::lock_guard lock(m_mutex);
    return m_changes;
}

bool ChannelFeed::IsOpened(int channel) const {
    std::lock_guard lock(m_mutex);
    return m_channels.at(static_cast<std::size_t>(channel)).opened;
}

ChannelFeed::Growth ChannelFeed::GrowthSince(int channel, std::uint64_t& seen) const {
    std::lock_guard lock(m_mutex);
    if (m_changes != seen) {
        seen = m_changes;
        return Growth::Possible;
    }
    return m_channels.at(static_cast<std::size_t>(channel)).closed || m_finished ? Growth::Final
                                                                                : Growth::Pending;
}

bool ChannelFeed::HasProgress() const {
    std::lock_guard lock(m_mutex);
    return m_workDone != m_workTaken;
}

std::int64_t ChannelFeed::TakeProgress() {
    std::lock_guard lock(m_mutex);
    const std::int64_t taken = m_workDone - m_workTaken;
    m_workTaken = m_workDone;
    return taken;
}

bool ChannelFeed::IsFinished() const {
    std::lock_guard lock(m_mutex);
    return m_finished;
}

void ChannelFeed::WaitForChange(std::uint64_t seen) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_changes != seen || m_finished; });
}

} // namespace vibrex
