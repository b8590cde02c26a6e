// Lookups, edits, locking; lists of values in one value.
#include "config/config_files.h"
#include "prelude.h"
#include "repetitions.h"
#include "text/Names.h"

namespace {

XCSmartPtr<XCConfigFile> NewFile()
{
    return new XCConfigFile(XCString(L"xc_config_edit.ini"));
}

XCString Name(wchar_t const* stem, unsigned int number)
{
    return XCString().Format(L"%s%u", stem, number);
}

TEST(XCConfigEdit, CreatesWhatIsMissingAtTheEnd)
{
    XCSmartPtr<XCConfigFile> const file = NewFile();
    file->SetString(L"a", L"k", L"1");
    file->SetLong(L"b", L"n", -2147483647 - 1);
    file->SetString(L"A", L"L", L"2");
    file->SetString(L"A", L"K", L"3");
    EXPECT_EQ(
        All(Dump(*file), file->GetLong(L"B", L"N", 7), file->GetLong(L"B", L"M", 7), file->GetLong(L"C", L"N", 7)),
        All(L"a.k=3;a.L=2;b.n=-2147483648;", -2147483647 - 1, 7, 7));
}

TEST(XCConfigEdit, AClearedSectionIsEmptyAndNameless)
{
    ScratchFile const disk("; c\n[a]\nk=1\n[b]\nk=2\n; end\n", "xc_config_clear.ini");
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    XCConfigSection* const section = file->FindSection(L"a");
    ASSERT_TRUE(section);
    EXPECT_EQ(section->FindLine(L"k")->GetComments().GetSize(), 0u);
    section->Clear();
    EXPECT_EQ(All(section->GetSize() + section->GetComments().GetSize(), file->FindSection(L"a"),
                  file->FindSection(L""), file->GetString(L"b", L"k", L"")),
              All(0u, nullptr, section, XCString(L"2")));
    EXPECT_EQ(file->GetEndComments().GetSize(), 1u);
}

TEST(XCConfigEdit, OneValueChangesOneLine)
{
    ScratchFile const disk("; c\r\n[a]\r\n; d\r\nk=1\r\nl=2\r\n\r\n[b]\r\nk=3\r\n; e\r\n", "xc_config_one.ini");
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    file->SetString(L"a", L"l", L"two");
    file->SetString(L"b", L"new", L"4");
    EXPECT_TRUE(file->Save().Good());
    EXPECT_EQ(disk.Bytes(), "; c\r\n[a]\r\n; d\r\nk=1\r\nl=two\r\n\r\n[b]\r\nk=3\r\nnew=4\r\n; e\r\n");
    file->Clear();
    EXPECT_TRUE(file->Reload().Good() && file->GetString(L"b", L"new", L"") == L"4");
}

TEST(XCConfigEdit, NumbersReadBack)
{
    XCConfigLine line;
    for (double const value : {0.1, -2.5, 1e300, 5e-324, 42.0}) {
        line.SetValue(value);
        EXPECT_EQ(line.GetValueAsDouble(), value) << line.GetValue().AsUTF8();
    }
    EXPECT_EQ(line.GetValueAsLong(), 42);
}

TEST(XCConfigEdit, TypedValuesTellWhetherTheyAreThere)
{
    using std::chrono::milliseconds;
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::FromText(
        L"[s]\nyes=On\nno=FALSE\nbig=-9000000000\nhalf=-2.5e1\nwait=1500 ms\nday=-2d\nbare=3\nfar=9e9d\nbad=1x\nnone=");
    XCConfigI const& config = *file;
    bool ok = false;
    EXPECT_TRUE(config.GetBool(L"S", L"yes", false, &ok) && ok);
    EXPECT_FALSE(config.GetBool(L"s", L"no", true));
    EXPECT_EQ(All(config.GetInt64(L"s", L"big", 0), config.GetDouble(L"s", L"half", 0),
                  config.GetDuration(L"s", L"wait", {})),
              All(-9000000000, -25, milliseconds(1500)));
    EXPECT_EQ(config.GetDuration(L"s", L"day", {}), std::chrono::hours(-48));
    EXPECT_EQ(config.GetDuration(L"s", L"bare", {}, &ok), milliseconds(3000));
    EXPECT_TRUE(ok);
    for (wchar_t const* const key : {L"bad", L"none", L"missing", L"far"}) {
        SCOPED_TRACE(XCString(key).AsUTF8());
        bool any = true;
        EXPECT_TRUE(config.GetBool(L"s", key, true, &any));
        EXPECT_EQ(config.GetInt64(L"s", key, 7, &ok), 7);
        any = any || ok;
        EXPECT_EQ(config.GetDouble(L"s", key, 0.5, &ok), 0.5);
        any = any || ok;
        EXPECT_EQ(config.GetDuration(L"s", key, milliseconds(9), &ok), milliseconds(9));
        EXPECT_FALSE(any || ok);
    }
    std::size_t lines = 0;
    for (XCConfigSection const& section : *file)
        for ([[maybe_unused]] XCConfigLine const& line : section) ++lines;
    EXPECT_EQ(lines, 10u);
    EXPECT_THROW((void)XCConfigFile::FromText(L"[s"), XCConfigStreamException);
}

// Random edits on a long and a short section, compared with a plain list after each.
TEST(XCConfigEdit, LookupsStayRightAfterEveryEdit)
{
    std::mt19937 random(20240229);
    for (std::size_t const most : {6u, 40u}) {
        XCSmartPtr<XCConfigFile> const file = NewFile();
        XCConfigSection& section = file->AddSection(L"s");
        std::vector<std::pair<XCString, XCString>> model; // key in lower case, value
        auto const someKey = [&] { return Name(L"key", static_cast<unsigned int>(random() % 20)); };
        auto const placeOf = [&](std::size_t i) { return std::next(section.GetLinesBegin(), static_cast<long>(i)); };
        for (unsigned int step = 0, steps = static_cast<unsigned int>(Times(4000)); step < steps; ++step) {
            XCString const key = someKey();
            XCString const value = Name(L"", step);
            std::size_t const i = model.empty() ? 0 : random() % model.size();
            if (model.size() < most && random() % 2 == 0) {
                section.AddLine(XCString(key).Upper(), value);
                model.emplace_back(key, value);
            } else if (!model.empty() && random() % 4 == 0) {
                placeOf(i)->SetKey(key);
                model[i].first = key;
            } else if (!model.empty()) {
                section.DeleteLine(placeOf(i));
                model.erase(model.begin() + static_cast<long>(i));
            }
            for (int probe = 0; probe < 3; ++probe) {
                XCString const wanted = someKey();
                auto const first =
                    std::find_if(model.begin(), model.end(), [&](auto const& line) { return line.first == wanted; });
                XCConfigLine const* const found = section.FindLine(wanted);
                ASSERT_EQ(found != nullptr, first != model.end()) << "step " << step;
                if (!found) continue;
                ASSERT_TRUE(found->GetValue() == first->second) << "step " << step;
            }
        }
        EXPECT_EQ(section.GetSize(), model.size());
    }
}

TEST(XCConfigEdit, SectionsAreFoundAfterRenamesAndDeletions)
{
    XCSmartPtr<XCConfigFile> const file = NewFile();
    for (unsigned int i = 0; i < 30; ++i)
        file->AddSection(Name(L"s", i % 15)).AddLine(L"i", L"").SetValue(static_cast<long>(i));
    EXPECT_EQ(file->GetLong(L"S7", L"i", -1), 7);
    EXPECT_TRUE(file->DeleteSection(L"s7"));
    EXPECT_EQ(file->GetLong(L"S7", L"i", -1), 22);
    EXPECT_TRUE(file->DeleteSection(L"s7"));
    EXPECT_FALSE(file->DeleteSection(L"s7"));
    file->FindSection(L"s3")->SetName(L"s7");
    EXPECT_EQ(All(file->GetLong(L"S7", L"i", -1), file->GetLong(L"S3", L"i", -1)), All(3, 18));
    EXPECT_EQ(file->DeleteSection(file->GetSectionsEnd()), file->GetSectionsEnd());
    EXPECT_EQ(file->GetSize(), 28u);
}

TEST(XCConfigEdit, DeletesByKeyFromAPlaceOn)
{
    XCConfigSection section(L"s");
    for (wchar_t const* const value : {L"1", L"2", L"3"}) section.AddLine(L"k", value);
    section.AddLine(L"l", L"4");
    auto const second = std::next(section.GetLinesBegin());
    EXPECT_TRUE(section.DeleteLine(L"K", second)->GetValue() == L"3");
    EXPECT_TRUE(section.DeleteLine(L"k", section.GetLinesBegin())->GetValue() == L"3");
    EXPECT_EQ(section.DeleteLine(L"k", std::prev(section.GetLinesEnd())), section.GetLinesEnd());
    EXPECT_EQ(section.GetSize(), 2u);
}

TEST(XCConfigEdit, CopiesStandAlone)
{
    XCSmartPtr<XCConfigFile> const file = NewFile();
    XCConfigSection& section = file->AddSection(L"s");
    section.GetComments().AddComment(L" c");
    section.AddLine(L"k", L"1").GetComments().AddComment(L" d");
    XCConfigSection copy(section);
    XCConfigSection& second = file->AddSection(copy);
    second.SetName(L"t");
    copy.FindLine(L"k")->SetValue(L"2");
    second = copy;
    *section.FindLine(L"k") = XCConfigLine(L"K2", L"3");
    EXPECT_EQ(Dump(*file), L"s.K2=3;s.k=2;");
    EXPECT_NE(section.FindLine(L"k2"), nullptr) << "a line that was assigned keeps its place in the index";
    section.AddLine(*section.FindLine(L"k2"));
    section = section;
    EXPECT_EQ(All(Dump(*file), second.GetComments().GetSize()), All(L"s.K2=3;s.K2=3;s.k=2;", 1u));
    XCConfigComments& comments = second.FindLine(L"k")->GetComments();
    comments.DeleteComment(comments.DeleteComment(comments.GetCommentsBegin()));
    EXPECT_EQ(comments.GetSize(), 0u);
}

#if !defined(_WIN32) // the table of capitals is inside the library
TEST(XCConfigNames, NamesMadeToCollideDoNot)
{
    // Two differences in high bits that cancel out, whatever the seed, where only the low half of a product counts.
    constexpr unsigned int kNames = 1024;
    for (std::uint64_t const seed : {std::uint64_t{0x123456789ABCDEF}, std::uint64_t{0xC2B2AE3D27D4EB4F}}) {
        std::set<std::uint32_t> hashes;
        for (unsigned int bits = 0; bits < kNames; ++bits) {
            std::wstring name(80, L'\x3400');
            for (std::size_t i = 0; i < 10; ++i)
                if (bits >> i & 1) name[i * 8 + 3] = name[i * 8 + 5] = name[i * 8 + 7] = L'\xB400';
            hashes.insert(xc::text::HashFolded(name, seed));
        }
        EXPECT_GT(hashes.size(), kNames - 10);
        // Names that differ in their lengths alone: the units that are looked at last are the same.
        hashes.clear();
        for (std::size_t length = 5; length < 5 + kNames; ++length)
            hashes.insert(xc::text::HashFolded(std::wstring(length, L'a'), seed));
        EXPECT_GT(hashes.size(), kNames - 4);
    }
}
#endif

// Locking -------------------------------------------------------------------------------------------------------

/// Whether another thread can lock the file now.
bool IsFree(XCConfigFile const& file)
{
    bool free = false;
    std::thread([&] {
        XCConfigLock const lock(file);
        free = true;
    }).join();
    return free;
}

TEST(XCConfigLocking, DeletingALockedPartLeavesTheFileUnlocked)
{
    XCSmartPtr<XCConfigFile> const file = NewFile();
    XCConfigSection& section = file->AddSection(L"s");
    section.AddLine(L"k", L"1").Lock();
    section.Lock();
    section.DeleteLine(section.GetLinesBegin());
    section.Unlock();
    section.Unlock(); // once too often: nothing happens
    EXPECT_TRUE(IsFree(*file));
    section.AddLine(L"k", L"1").Lock();
    file->DeleteSection(L"s");
    EXPECT_TRUE(IsFree(*file));
}

TEST(XCConfigLocking, WhatRemoveAllLocksGaveBackIsNotGivenBackAgain)
{
    XCSmartPtr<XCConfigFile> const file = NewFile();
    XCConfigLine& line = file->AddSection(L"s").AddLine(L"k", L"1");
    line.Lock();
    {
        XCConfigLock const guard(*file);
        file->RemoveAllLocks();
        EXPECT_TRUE(IsFree(*file));
    }
    std::atomic<bool> entered{false};
    file->Lock();
    file->DeleteSection(L"s"); // with the line
    std::thread other([&] {
        XCConfigLock const lock(*file);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(entered) << "the line gave back a lock that it no longer had";
    file->Unlock();
    other.join();
    EXPECT_TRUE(IsFree(*file));
}

TEST(XCConfigLocking, ReadersSeeWholeValuesWhileOneEdits)
{
    XCSmartPtr<XCConfigFile> const file = NewFile();
    for (unsigned int i = 0; i < 20; ++i) file->SetString(L"s", Name(L"other", i), L"x");
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    auto const read = [&] {
        while (!done) {
            XCConfigLock const lock(*file);
            if (file->GetString(L"s", L"a", L"") != file->GetString(L"s", L"b", L"")) ++torn;
            if (file->FindSection(L"s")->FindLine(L"other3")->GetValue() != L"x") ++torn;
        }
    };
    std::thread first(read), second(read);
    for (int i = 0; i < Times(2000); ++i) {
        XCConfigSection& section = *file->FindSection(L"s");
        XCConfigLock const lock(section);
        XCString const text(L'v', static_cast<std::size_t>(i % 50));
        file->SetString(L"s", L"a", text);
        if (i != 0) section.DeleteLine(L"b", section.GetLinesBegin());
        section.AddLine(L"b", text);
    }
    done = true;
    first.join();
    second.join();
    EXPECT_EQ(torn, 0);
}

// Lists of values -----------------------------------------------------------------------------------------------

TEST(XCCommaSeparatedValues, PacksWhatItUnpacks)
{
    std::vector<std::vector<std::wstring>> const lists = {
        {},          {L""},        {L"", L""}, {L"a", L"", L"b"}, {L"a,b", L" c", L"d ", L"say \"x\"", L"\""},
        {L"a", L""}, {L"\t", L","}};
    for (auto const& list : lists) {
        XCCommaSeparatedValues values;
        for (std::wstring const& value : list) values.Put(value);
        SCOPED_TRACE(values.AsString().AsUTF8());
        XCCommaSeparatedValues unpacked(values.AsString());
        bool ok = false;
        for (std::wstring const& value : list) {
            EXPECT_TRUE(unpacked.Get(&ok) == value.c_str() && ok);
        }
        EXPECT_TRUE(unpacked.Get(&ok).IsNull());
        EXPECT_FALSE(ok);
    }
}

TEST(XCCommaSeparatedValues, ReadsWhatPeopleWrite)
{
    XCCommaSeparatedValues values(L" 1 , two words ,\"a\"\"b\" , \"x\"y, \"open, ");
    bool ok = false;
    EXPECT_EQ(values.GetInt(&ok), 1);
    EXPECT_TRUE(ok);
    EXPECT_EQ(values.GetInt(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(values.Get() == L"a\"b" && values.Get() == L"xy" && values.Get() == L"open, ");
    EXPECT_TRUE(values.Get(&ok).IsNull());
    EXPECT_FALSE(ok);
    values.Rewind();
    EXPECT_EQ(values.GetInt(), 1);
    EXPECT_TRUE(XCCommaSeparatedValues().Put(1).Put(L"a b").Put(-2).AsString() == L"1,a b,-2");
}

} // namespace
