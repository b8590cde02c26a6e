#include "log_files.h"

namespace {

/// Keeps what it receives as "level:text|"; runs `during` inside each OnFlush.
struct Recorder : XCLogSubscriberI {
    explicit Recorder(int desired = 1) { SetDesiredLevel(desired); }
    void OnFlush(int level, XCString const& text) override
    {
        seen += static_cast<wchar_t>(L'0' + level);
        seen += L":" + std::wstring(text.View()) + L"|";
        if (during) during();
    }
    std::wstring seen;
    std::function<void()> during;
};
using RecorderPtr = XCSmartPtr<Recorder>;

/// A manager of its own with one channel.
struct Bench {
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"test");
    XCLogStream& out = channel.GetStream();

    RecorderPtr Attach(int desired = 1)
    {
        RecorderPtr const recorder(new Recorder(desired));
        manager.AddSubscriber(recorder);
        return recorder;
    }
};

TEST(XCLogChannel, InterestFollowsEveryChange)
{
    Bench b;
    EXPECT_FALSE(b.out.IsInterested()) << "no subscriber";
    RecorderPtr const one = b.Attach(1);
    EXPECT_TRUE(b.out.IsInterested()) << "attached";
    b.out.SetLoggingLevel(2);
    EXPECT_FALSE(b.out.IsInterested()) << "level of the channel raised";
    one->SetDesiredLevel(2);
    EXPECT_TRUE(b.out.IsInterested()) << "desired level raised";
    RecorderPtr const other(new Recorder(5));
    XCLogChannel& second = b.manager.GetOrAddChannel(L"second");
    second.AddSubscriber(other);
    EXPECT_FALSE(b.channel.IsInterested(3)) << "subscriber of another channel";
    EXPECT_TRUE(second.IsInterested(5)) << "subscriber of this channel";
    EXPECT_TRUE(b.manager.RemoveSubscriber(other));
    EXPECT_FALSE(second.IsInterested(3)) << "detached from its channel";
    EXPECT_TRUE(b.manager.RemoveSubscriber(one));
    EXPECT_FALSE(b.out.IsInterested()) << "detached";
    EXPECT_FALSE(b.manager.RemoveSubscriber(one));
}

TEST(XCLogChannel, LevelsDecideWhatIsDelivered)
{
    Bench b;
    b.out << L"nobody" << std::flush;
    static_cast<std::wostream&>(b.out) << L"listens";
    RecorderPtr const recorder = b.Attach(1);
    b.out << std::flush;
    EXPECT_EQ(recorder->seen, L"") << "text was kept without interest";
    for (int level = 0; level <= 2; ++level) {
        b.out.SetLoggingLevel(level);
        b.out << L"at" << static_cast<wchar_t>(L'0' + level) << std::flush;
    }
    EXPECT_EQ(recorder->seen, L"0:at0|1:at1|");
    recorder->seen.clear();
    b.out.SetLoggingLevel(1);
    b.out << L"pending";
    b.out.SetLoggingLevel(0);
    EXPECT_EQ(recorder->seen, L"1:pending|") << "not delivered at the old level";
    b.out << L"rest";
    b.out.OnEOL();
    EXPECT_EQ(recorder->seen, L"1:pending|0:rest|");
    recorder->seen.clear();
    b.out << static_cast<wchar_t const*>(nullptr) << L"after" << std::flush;
    EXPECT_EQ(recorder->seen, L"0:after|") << "a null text silences the channel";
}

TEST(XCLogChannel, RecordsAreBuiltApart)
{
    Bench b;
    RecorderPtr const recorder = b.Attach(3);
    XCLogRecord(b.channel, 3) << L"n=" << -5 << L' ' << 7u << L' ' << XCString(L"text") << std::wstring(L"w") << true
                              << 0.5 << "\xC3\xA9" << 'c';
    XCLogRecord(b.channel, 4) << L"nobody wants it";
    b.channel.Write(2, L"direct");
    EXPECT_EQ(recorder->seen, L"3:n=-5 7 textwtrue0.5\u00E9c\n|2:direct|");
}

TEST(XCLogManager, ChannelsByNameAndIndex)
{
    XCLogManager manager;
    EXPECT_EQ(manager.AddChannel(L"a"), 0u);
    EXPECT_EQ(manager.AddChannel(L"A"), 1u);
    EXPECT_EQ(manager.AddChannel(L"a"), 2u) << "an existing name is no reason to refuse";
    EXPECT_EQ(manager.GetChannel(L"a"), manager.GetChannel(std::size_t{0}));
    EXPECT_EQ(manager.GetChannel(L"A"), manager.GetChannel(1)) << "case ignored";
    EXPECT_EQ(All(manager.GetChannel(L"b"), manager.GetChannel(3), manager.GetAvailableChannels().size()),
              All(nullptr, nullptr, 3u));
    XCString names;
    for (auto at = manager.GetFirstChannelItr(); at != manager.GetLastChannelItr(); ++at) names += (*at)->name();
    EXPECT_EQ(names, L"aAa");
}

TEST(XCLogSubscriber, WhatOneDoesInsideOnFlushNeverHurtsTheOthers)
{
    // fault, misbehaves (first of two subscribers), seen (by the two, failures, text of the last)
    Rows<std::function<void(Bench&, RecorderPtr const&, RecorderPtr const&)>, wchar_t const*> const rows = {
        {"throw ends the delivery", [](Bench&, auto&, auto&) { throw std::runtime_error("broken"); },
         L"1:x|1:y| 1:x|1:y| 2 A log subscriber failed: broken"},
        {"text read as bytes of another encoding", [](Bench&, auto&, auto&) { throw XCException(L"Gr\u00F6\u00DFe"); },
         L"1:x|1:y| 1:x|1:y| 2 A log subscriber failed: Gr\u00F6\u00DFe"},
        {"foreign exception", [](Bench&, auto&, auto&) { throw 5; },
         L"1:x|1:y| 1:x|1:y| 2 A log subscriber failed: unknown exception"},
        {"own record comes back, or before the present one",
         [](Bench& b, auto&, auto&) { b.out << L"own" << std::flush; }, L"1:x|1:y| 1:x|1:own|1:y|1:own| 0 "},
        {"detaching itself skips the next", [](Bench& b, auto& self, auto&) { b.manager.RemoveSubscriber(self); },
         L"1:x| 1:x|1:y| 0 "},
        {"a subscriber that left is served", [](Bench& b, auto&, auto& next) { b.manager.RemoveSubscriber(next); },
         L"1:x|1:y|  0 "},
        {"interest not refreshed",
         [](Bench&, auto& self, auto& next) {
             for (auto const& each : {self, next}) each->SetDesiredLevel(0);
         },
         L"1:x| 1:x| 0 "},
        {"a newcomer is served from the middle on",
         [](Bench& b, auto&, auto& next) {
             b.manager.RemoveSubscriber(next);
             b.manager.AddSubscriber(next);
         },
         L"1:x|1:y|  0 "},
    };
    for (auto const& [fault, misbehaves, seen] : rows) {
        Bench b;
        RecorderPtr const first = b.Attach(), second = b.Attach();
        first->during = [&, act = misbehaves] { act(b, first, second); };
        b.out << L"x" << std::flush << L"y" << std::flush;
        XCString const all = XCString().Format(L"%s %s %d %s", first->seen, second->seen, b.manager.GetFailureCount(),
                                               b.manager.GetLastFailure());
        EXPECT_EQ(all, seen) << fault;
        first->during = nullptr;
    }
}

TEST(XCLogSubscriber, TwoThatLogWhenServedComeToAnEnd)
{
    Bench b;
    RecorderPtr const first = b.Attach();
    RecorderPtr const second = b.Attach();
    first->during = [&] { b.channel.Write(1, L"by first"); };
    second->during = [&] { b.channel.Write(1, L"by second"); };
    b.channel.Write(1, L"x");
    EXPECT_EQ(All(first->seen, second->seen), All(L"1:x|1:by second|", L"1:x|1:by first|"));
    second->during = nullptr;
    first->during = [&] { b.out << L"unflushed"; };
    first->seen.clear();
    b.out << L"y";
    b.manager.Flush(); // comes back
    EXPECT_EQ(first->seen, L"1:y|");
    first->during = nullptr;
}

TEST(XCLogManager, SubscribersAskForChannelsWhileOthersAreAdded)
{
    Bench b;
    RecorderPtr const recorder = b.Attach();
    std::thread adder;
    recorder->during = [&] {
        adder = std::thread([&b] { b.manager.AddChannel(L"late"); });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(b.manager.GetChannel(L"test"), &b.channel);
    };
    b.channel.Write(1, L"x"); // comes back
    adder.join();
    EXPECT_NE(b.manager.GetChannel(L"late"), nullptr);
}

TEST(XCLogChannel, RecordsOfManyThreadsStayWhole)
{
    constexpr int kThreads = 4;
    constexpr int kRecords = 500;
    Bench b;
    RecorderPtr const recorder = b.Attach();
    OnThreads(kThreads, [&b](int writer) {
        for (int i = 0; i < kRecords; ++i) {
            XCString const text = log_test::WholeRecord(writer, i);
            if (writer % 2 == 0) {
                XCLogRecord(b.channel, 1) << text.SubStr(0, 3) << text.SubStr(3);
            } else { // the buffer of the shared stream keeps threads apart
                XCLogStreamBuf& buffer = b.out.GetBuffer();
                buffer.sputn(text.AsWChar(), 3);
                buffer.sputn(text.AsWChar() + 3, static_cast<std::streamsize>(text.Length() - 3));
                buffer.pubsync();
            }
        }
    });
    EXPECT_TRUE(log_test::AllWhole(XCString(recorder->seen).Replace(L"|", L"").Replace(L"1:<", L"<").AsUTF8(), kThreads,
                                   kRecords));
}

TEST(XCLogChannel, TextThatAThreadLeavesIsARecordOfItsOwn)
{
    Bench b;
    RecorderPtr const recorder = b.Attach();
    std::wstring expected;
    for (int i = 0; i < 50; ++i) { // identifiers of threads come again
        std::thread([&b] { b.out.GetBuffer().sputn(L"left", 4); }).join();
        expected += L"1:left|";
    }
    EXPECT_EQ(recorder->seen, expected) << "inherited by a later thread, or not delivered";
}

TEST(XCLogManager, SubscribersComeAndGoWhileThreadsLog)
{
    Bench b;
    RecorderPtr const stays = b.Attach();
    std::thread writer([&b] {
        for (int i = 0; i < 2000; ++i) b.channel.Write(1, L"x");
    });
    for (int i = 0; i < 200; ++i) {
        RecorderPtr const passing = b.Attach();
        passing->SetDesiredLevel(i % 3);
        b.manager.RemoveSubscriber(passing);
    }
    writer.join();
    EXPECT_EQ(stays->seen.size(), 2000u * 4);
}

TEST(XCLogManager, FirstUseFromManyThreadsGivesOneManagerAndChannel)
{
    XCLogChannel* channels[8];
    OnThreads(8, [&](int i) { channels[i] = &XCLogManager::Get().GetOrAddChannel(L"first use"); });
    EXPECT_EQ(std::count(std::begin(channels), std::end(channels), channels[0]), 8);
}

} // namespace
