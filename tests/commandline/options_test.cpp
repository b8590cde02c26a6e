// Declared options: syntax, types, refusals and the usage screen.
#include "prelude.h"

namespace {

enum class Mode { Fast, Careful };

/// A program with an option of every kind.
struct Program {
    int jobs = 2;
    bool verbose = false, extract = false;
    double ratio = 0.5;
    std::uint8_t level = 3;
    Mode mode = Mode::Fast;
    XCDurationEx span{5};
    std::vector<XCString> excludes{L"old"};
    XCString source;
    std::vector<int> numbers;
    XCOptions options{L"sync", L"Copies what has changed."};

    Program()
    {
        options.Value(L"-j,--jobs", L"threads at work", jobs).Between(1, 64).Word(L"N");
        options.Flag(L"-v,--verbose", L"tell each file", verbose);
        options.Flag(L"-x", L"extract", extract);
        options.Value(L"--ratio", L"how full", ratio);
        options.Value(L"--level", L"how much", level);
        options.Choice(L"--mode", L"how to copy", mode, {{L"fast", Mode::Fast}, {L"careful", Mode::Careful}});
        options.Value(L"--span", L"how old", span);
        options
            .List(L"-e,--exclude", L"names to leave out; may be given again, and its description needs two lines",
                  excludes)
            .Check([](XCString const& given) { return given != L"all"; }, L"the name of some files");
        options.Argument(L"SOURCE", L"the folder to read", source).Required();
        options.Arguments(L"NUMBER", L"more", numbers);
    }
    /// What can be seen of the targets.
    std::string Seen() const
    {
        XCString seen;
        seen.Format(L"j%d v%s x%s r%g l%d m%d s%s %s", jobs, verbose, extract, ratio, level, int(mode), span, source);
        for (XCString const& name : excludes) seen += L" -" + name;
        for (int const number : numbers) seen += XCString().Format(L" %d", number);
        return seen.AsUTF8();
    }
    std::string Read(std::vector<XCString> const& arguments)
    {
        XCErrorID const wrong = options.Read(arguments);
        return wrong.Good() ? Seen() : wrong.AsString().AsUTF8();
    }
};

TEST(XCOptions, ReadsAndRefuses)
{
    constexpr char kUntouched[] = "j2 vfalse xfalse r0.5 l3 m0 s5 seconds  -old";
    EXPECT_EQ(Program().Seen(), kUntouched);
    for (auto const& [arguments, seen] : Table<std::vector<XCString>, std::string>{
             {{L"in"}, "j2 vfalse xfalse r0.5 l3 m0 s5 seconds in -old"},
             {{L"--jobs=4", L"in", L"--verbose", L"7", L"-5"}, "j4 vtrue xfalse r0.5 l3 m0 s5 seconds in -old 7 -5"},
             {{L"-vxj", L"8", L"in"}, "j8 vtrue xtrue r0.5 l3 m0 s5 seconds in -old"},
             {{L"-xj8", L"-v=no", L"-"}, "j8 vfalse xtrue r0.5 l3 m0 s5 seconds - -old"},
             {{L"-j=9", L"-j", L"3", L"in"}, "j3 vfalse xfalse r0.5 l3 m0 s5 seconds in -old"},
             {{L"-e", L"a", L"--exclude=b", L"--", L"--jobs"}, "j2 vfalse xfalse r0.5 l3 m0 s5 seconds --jobs -a -b"},
             {{L"--ratio", L"-1.5", L"--mode=careful", L"--span", L"3 days", L"in"},
              "j2 vfalse xfalse r-1.5 l3 m1 s3 days in -old"},
             {{L"--exclude=", L"in"}, "j2 vfalse xfalse r0.5 l3 m0 s5 seconds in -"},
             {{L"in", L"--jobs=0"}, "--jobs: \"0\" is not a whole number from 1 to 64."},
             {{L"in", L"--jobs=4x"}, "--jobs: \"4x\" is not a whole number from 1 to 64."},
             {{L"in", L"--level=256"}, "--level: \"256\" is not a whole number from 0 to 255."},
             {{L"in", L"--verbose=perhaps"}, "--verbose: \"perhaps\" is neither yes nor no."},
             {{L"in", L"--mode=slow"}, "--mode: \"slow\" is none of fast, careful."},
             {{L"in", L"--span=later"}, "--span cannot be \"later\"."},
             {{L"in", L"-e", L"all"}, "-e: \"all\" is not the name of some files."},
             {{L"in", L"five"}, "NUMBER: \"five\" is not a whole number from -2147483648 to 2147483647."},
             {{L"in", L"--jobs"}, "--jobs wants a value."},
             {{L"in", L"-e", L"--verbose"}, "-e wants a value."},
             {{L"in", L"-e", L"--jobs=4"}, "-e wants a value."},
             {{L"--verbos", L"in"}, "There is no option --verbos; --verbose is meant, perhaps."},
             {{L"-jobs=4", L"in"}, "-j: \"obs=4\" is not a whole number from 1 to 64."},
             {{L"in", L"--somethingElse"}, "There is no option --somethingElse."},
             {{L"--verbose"}, "SOURCE is missing."},
         })
    {
        SCOPED_TRACE(seen);
        Program program;
        EXPECT_EQ(program.Read(arguments), seen);
        EXPECT_TRUE(seen[0] == 'j' || program.Seen() == kUntouched) << "refused, and something set";
    }
}

TEST(XCOptions, InTheOtherSyntax)
{
    Program program;
    EXPECT_TRUE(program.options.ReadCommandLine(XCCommandLine(L"sync /JOBS:4 /verbose in 7 /e:a")).Good());
    EXPECT_EQ(program.Seen(), "j4 vtrue xfalse r0.5 l3 m0 s5 seconds in -a 7");
    EXPECT_TRUE(program.options.IsGiven(L"j") && program.options.IsGiven(L"jobs") && !program.options.IsGiven(L"span"));
    EXPECT_EQ(int(program.options.ReadCommandLine(XCCommandLine(L"sync in /jobs"))), XCErrOptionNoValue);
    EXPECT_EQ(int(program.options.ReadCommandLine(XCCommandLine(L"sync in /jbos:4"))), XCErrOptionUnknownNear);
    EXPECT_TRUE(program.options.ReadCommandLine(XCCommandLine(L"sync /?")).Good() && program.options.WantsHelp());
}

// As from a configuration; what is there is read all or nothing, too.
TEST(XCOptions, ValuesByName)
{
    Program program;
    std::map<XCString, XCString> values{{L"jobs", L"7"}, {L"verbose", L"on"}, {L"ratio", L"x"}};
    auto const find = [&](XCString const& name) -> std::optional<XCString> {
        auto const found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    };
    EXPECT_EQ(int(program.options.ReadValues(find)), XCErrOptionNumber);
    EXPECT_EQ(program.jobs, 2);
    values.erase(L"ratio");
    EXPECT_EQ(int(program.options.ReadValues(find)), XCErrOptionMissing);
    XCOptions options(L"plug-in");
    options.Value(L"--jobs", L"threads", program.jobs);
    options.Value(L"-f,--follow", L"", program.level).Alone(L"50");
    EXPECT_TRUE(options.ReadValues(find).Good() && program.jobs == 7 && program.level == 3);
    EXPECT_EQ(options.GetNames(), (std::vector<XCString>{L"jobs", L"f", L"follow"}));
    values[L"follow"] = L"";
    EXPECT_TRUE(options.ReadValues(find).Good() && program.level == 50);
    EXPECT_TRUE(options.Read({L"-f7", L"--follow"}).Good() && program.level == 50);
    EXPECT_TRUE(options.ReadCommandLine(XCCommandLine(L"x /follow:9")).Good() && program.level == 9);
    XCString name, about;
    bool flag = true;
    EXPECT_TRUE(options.GetUsageInfo().GetCmdLineArgDesc(0, name, about, flag) && name == L"jobs:{JOBS}" && !flag);
}

TEST(XCOptions, Commands)
{
    bool loud = false, force = false;
    XCString to;
    XCOptions options(L"mail");
    options.Flag(L"--loud", L"", loud);
    XCOptions& send = options.Command(L"send", L"Sends a letter.");
    send.Value(L"--to", L"the receiver", to).Required();
    options.Command(L"drop", L"Throws letters away.").Flag(L"-f", L"", force);
    EXPECT_TRUE(options.Read({L"--loud", L"send", L"--to", L"all"}).Good());
    EXPECT_TRUE(loud && to == L"all" && options.GetCommand() == L"send" && options.IsGiven(L"to"));
    loud = false;
    EXPECT_EQ(int(options.Read({L"--loud", L"send"})), XCErrOptionMissing);
    EXPECT_FALSE(loud) << "an option of the whole was set though the command was refused";
    EXPECT_EQ(int(options.Read({L"sned"})), XCErrCommandUnknownNear);
    EXPECT_EQ(int(options.Read(std::vector<XCString>())), XCErrOptionMissing);
    EXPECT_TRUE(options.ReadCommandLine(XCCommandLine(L"mail /loud send /to:some")).Good());
    EXPECT_TRUE(loud && to == L"some" && options.GetCommand() == L"send");
    EXPECT_TRUE(options.ReadValues([](XCString const&) { return std::optional(XCString(L"no")); }).Good() && !loud);
    EXPECT_TRUE(options.Read({L"send", L"--help"}).Good() && options.WantsHelp());
    EXPECT_EQ(options.GetUsage().AsUTF8(), "Usage: mail send [options]\nSends a letter.\n\nOptions:\n"
                                           "  --to TO                   the receiver; required\n");
    EXPECT_THROW(send.Value(L"--to", L"again", to), XCException);
    EXPECT_THROW(send.Flag(L"to", L"no dash", force), XCException);
}

TEST(XCOptions, UsageScreen)
{
    EXPECT_EQ("\n" + Program().options.GetUsage().AsUTF8(), R"(
Usage: sync [options] SOURCE [NUMBER...]
Copies what has changed.

Arguments:
  SOURCE                    the folder to read; required
  NUMBER                    more

Options:
  -j, --jobs N              threads at work (1 to 64); default 2
  -v, --verbose             tell each file
  -x                        extract
  --ratio RATIO             how full; default 0.5
  --level LEVEL             how much; default 3
  --mode MODE               how to copy (fast, careful); default fast
  --span SPAN               how old; default 5 seconds
  -e, --exclude EXCLUDE     names to leave out; may be given again, and its
                            description needs two lines
)");
}

} // namespace
