// Channels by name and index, and the process's own manager.
//
// A channel lives as long as its manager, so that a reference to one stays good: the list only grows. A channel has a
// stream for its own level and, on demand, one for each other level that somebody writes at. These are kept in a singly
// linked list whose head is exchanged atomically; it is read without a lock and never shortened. The streams of one
// channel share the name and the subscribers of its main stream. Before a stream is handed out, the calling thread's
// text in the others is flushed, so that the texts of one thread keep their order whatever their levels.
#include <XelbrinCore/XCLog.h>

#include "log/AtExit.h"
#include "log/SubscriberList.h"

#include <mutex>

XCLogChannel::XCLogChannel(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString name)
    : m_subscribers(std::move(subscribers)), m_name(std::move(name)), m_stream(m_subscribers, m_name)
{
}

struct XCLogChannel::LevelStream {
    LevelStream(XCLogChannel& channel, int level_)
        : level(level_), stream(channel.m_subscribers, channel.m_name, &channel.m_stream.GetBuffer())
    {
        // Once: the level of such a stream is its name in the list.
        stream.SetLoggingLevel(level);
    }
    int level;
    XCLogStream stream;
    LevelStream* next = nullptr;
};

XCLogChannel::~XCLogChannel()
{
    for (LevelStream* next = m_levelStreams.load(); next;) {
        std::unique_ptr<LevelStream> const owner(next);
        next = owner->next;
    }
}

XCLogStream& XCLogChannel::GetStream(int level)
{
    // The order of one thread's texts: those at other levels go out first.
    m_stream.OnEOL();
    LevelStream* found = nullptr;
    // Streams that join after this look are of other threads; the texts of this thread are all in the streams it has
    // seen.
    LevelStream* const first = m_levelStreams.load();
    for (LevelStream* other = first; other; other = other->next) {
        if (other->level == level)
            found = other;
        else
            other->stream.OnEOL();
    }
    if (found) return found->stream;
    auto fresh = std::make_unique<LevelStream>(*this, level);
    fresh->next = first;
    // The exchange succeeds only while the head is the one that was searched, so no level is ever listed twice.
    LevelStream* expected = first;
    // Another thread may have been quicker, perhaps with this very level.
    if (!m_levelStreams.compare_exchange_strong(expected, fresh.get())) return GetStream(level);
    return fresh.release()->stream;
}

void XCLogChannel::FlushStreams() noexcept
{
    m_stream.GetBuffer().FlushAll();
    for (LevelStream* other = m_levelStreams.load(); other; other = other->next) other->stream.GetBuffer().FlushAll();
}

void XCLogChannel::AddSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber)
{
    m_subscribers->Add(subscriber, &m_stream.GetBuffer());
}

XCLogManager::XCLogManager() : m_subscribers(xc::log::SubscriberList::Make()) {}

XCLogManager::~XCLogManager()
{
    Flush();
}

/// Never destroyed: destructors of static objects may log after everything else of the library has gone.
XCLogManager& XCLogManager::Get()
{
    // Flushed before the files are closed at the end of the process: text that no line end has sent yet still arrives.
    static XCLogManager* const instance = [] {
        auto manager = std::make_unique<XCLogManager>();
        xc::log::AtExit::BeforeFiles([] { Get().Flush(); });
        return manager.release();
    }();
    return *instance;
}

void XCLogManager::Init()
{
    m_subscribers->RefreshInterest();
}

/// A channel is built and discarded outside the section: it joins the list of subscribers, and a subscriber that is
/// being served there may be asking for channels.
std::size_t XCLogManager::AddChannel(XCString const& name)
{
    auto channel = std::make_unique<XCLogChannel>(m_subscribers, name);
    std::lock_guard const hold(m_section);
    m_channels.Add(std::move(channel));
    return m_channels.GetSize() - 1;
}

XCLogChannel* XCLogManager::GetChannel(std::size_t index) const
{
    std::lock_guard const hold(m_section);
    return m_channels.Get(index);
}

XCLogChannel* XCLogManager::GetChannel(XCString const& name) const
{
    std::lock_guard const hold(m_section);
    for (auto const& channel : m_channels)
        if (channel->name().View() == name.View()) return channel.get();
    return nullptr;
}

XCLogChannel& XCLogManager::GetOrAddChannel(XCString const& name)
{
    // Asked first without building: nearly every call finds its channel.
    if (XCLogChannel* const known = GetChannel(name)) return *known;
    auto channel = std::make_unique<XCLogChannel>(m_subscribers, name);
    std::lock_guard const hold(m_section);
    XCLogChannel* const faster = GetChannel(name); // of another thread
    return faster ? *faster : m_channels.Add(std::move(channel));
}

std::vector<XCString> XCLogManager::GetAvailableChannels() const
{
    std::lock_guard const hold(m_section);
    std::vector<XCString> names;
    for (auto const& channel : m_channels) names.push_back(channel->name());
    return names;
}

XCLogManager::ChannelItr XCLogManager::GetFirstChannelItr() const
{
    std::lock_guard const hold(m_section);
    return m_channels.begin();
}

XCLogManager::ChannelItr XCLogManager::GetLastChannelItr() const
{
    std::lock_guard const hold(m_section);
    return m_channels.end();
}

void XCLogManager::SetChannelLevels(std::vector<XCLogChannelLevel> levels)
{
    m_subscribers->SetChannelLevels(std::move(levels));
}

void XCLogManager::AddSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber)
{
    m_subscribers->Add(subscriber, nullptr);
}

bool XCLogManager::RemoveSubscriber(XCLogSubscriberI const* subscriber)
{
    return m_subscribers->Remove(subscriber);
}

std::size_t XCLogManager::GetSubscriberCount() const
{
    return m_subscribers->All().size();
}

XCSmartPtrVector<XCLogSubscriberI> XCLogManager::GetSubscribers() const
{
    return m_subscribers->All();
}

/// Needs no memory: destructors flush. Delivery runs without the lock, since subscribers may ask for channels.
void XCLogManager::Flush()
{
    // By index and not by iterator: a subscriber may add channels meanwhile, and these are flushed too.
    for (std::size_t i = 0; XCLogChannel* const channel = GetChannel(i); ++i) channel->FlushStreams();
    m_subscribers->FlushSubscribers();
}

std::uint64_t XCLogManager::GetFailureCount() const noexcept
{
    return m_subscribers->GetFailures().Count();
}

XCString XCLogManager::GetLastFailure() const
{
    return m_subscribers->GetFailures().Last();
}
