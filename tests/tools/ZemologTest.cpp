#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace
{

const std::string WorkedExample("\x5A\x62\x6C\x01\0\0\0\x02\x03\xE8\0\x02\x03\xE9\0\x04\x65\x53\xF1\0\xFF\xFB\xC8", 23);

struct Outcome
{
    int exitCode;
    std::string out; ///< standard output and error
};

class Zemolog : public testing::Test
{
protected:
    Zemolog()
    {
        std::string pattern = testing::TempDir() + "zemologXXXXXX";
        m_folder = mkdtemp(pattern.data());
    }

    ~Zemolog() override
    {
        std::filesystem::remove_all(m_folder);
    }

    std::string write(const std::string& name, const std::string& content) const
    {
        const std::string path = m_folder / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    std::string read(const std::string& name) const
    {
        std::ifstream file(m_folder / name, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    Outcome run(const std::string& arguments) const
    {
        return shell("TZ=UTC '" ZEMOLOG "' " + arguments);
    }

    Outcome shell(const std::string& command) const
    {
        const std::string line = "cd '" + m_folder.string() + "' && " + command + " 2>&1";
        FILE* pipe = popen(line.c_str(), "r");
        Outcome outcome{0, {}};
        std::array<char, 4096> buffer{};
        while (const size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        {
            outcome.out.append(buffer.data(), count);
        }
        outcome.exitCode = WEXITSTATUS(pclose(pipe));
        return outcome;
    }

private:
    std::filesystem::path m_folder;
};

} // namespace

TEST_F(Zemolog, ABinaryLogBecomesTheCsvOfItsRows)
{
    write("a.blf", WorkedExample);

    const Outcome outcome = run("convert a.blf");

    EXPECT_EQ(outcome.out, "\tid:1000\tid:1001\n2023-11-14 22:13:20\t-5\t200\n");
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(Zemolog, NamesForABinaryLogComeFromAFileOfIds)
{
    write("a.blf", WorkedExample);
    write("names", "# ids\n1001\tLevel [m]\n");

    EXPECT_EQ(run("convert a.blf --names names --to jsonl").out,
              "{\"time\":\"2023-11-14 22:13:20\",\"id:1000\":-5,\"Level [m]\":200}\n");
}

TEST_F(Zemolog, AMistakeInTheFileOfIdsIsToldWithItsLine)
{
    write("a.blf", WorkedExample);
    write("names", "1000\tPower\nLevel\n");

    const Outcome outcome = run("info a.blf --names names");

    EXPECT_EQ(outcome.exitCode, 65);
    EXPECT_EQ(outcome.out, "zemolog: names:2: not an id, a tab and a name\n");
}

TEST_F(Zemolog, AFileOfIdsThatCannotBeReadIsToldWithTheReason)
{
    write("a.blf", WorkedExample);

    const Outcome missing = run("info a.blf --names nothing-here");
    const Outcome folder = run("info a.blf --names .");

    EXPECT_EQ(missing.exitCode, 66);
    EXPECT_EQ(missing.out, "zemolog: cannot read nothing-here: No such file or directory\n");
    EXPECT_EQ(folder.exitCode, 66);
    EXPECT_EQ(folder.out, "zemolog: . is a directory\n");
}

TEST_F(Zemolog, EveryCutOfABinaryLogIsToldWithThePlaceAndTheGoodRows)
{
    const std::string twoRows = WorkedExample + WorkedExample.substr(16);
    for (size_t length = 0; length < twoRows.size(); ++length)
    {
        write("cut.blf", twoRows.substr(0, length));

        const Outcome outcome = run("check cut.blf");

        const bool whole = length == 16 || length == 23;
        EXPECT_EQ(outcome.exitCode, whole ? 0 : 65) << length;
        if (length > 23)
        {
            EXPECT_NE(outcome.out.find("damaged at byte 23"), std::string::npos) << outcome.out;
            EXPECT_NE(outcome.out.find("; 1 rows before it are good"), std::string::npos) << outcome.out;
        }
    }
}

TEST_F(Zemolog, ACsvLogWithACutRowIsDamagedAtThatRow)
{
    write("a.csv", "\tA [kW]\tB\n2026-11-15 03:31:47\t12\t7\n2026-11-15 03:31:48\t12");

    const Outcome outcome = run("check a.csv");

    EXPECT_EQ(outcome.exitCode, 65);
    EXPECT_EQ(outcome.out, "zemolog: damaged at byte 35: the last row has no end; 1 rows before it are good\n");
}

TEST_F(Zemolog, ARowWithACellTooManyIsDamage)
{
    write("a.csv", "\tA\n2026-11-15 03:31:47\t1\n2026-11-15 03:31:48\t1\t2\n2026-11-15 03:31:49\t3\n");

    const Outcome outcome = run("check a.csv");

    EXPECT_EQ(outcome.exitCode, 65);
    EXPECT_NE(outcome.out.find("damaged at byte 25"), std::string::npos) << outcome.out;
}

TEST_F(Zemolog, AMissingValueIsNullInJson)
{
    write("a.csv", "\tA\tB\tC\n2026-11-15 03:31:47\t-\t1.5\tidle\n");

    EXPECT_EQ(run("convert a.csv --to jsonl").out,
              "{\"time\":\"2026-11-15 03:31:47\",\"A\":null,\"B\":1.5,\"C\":\"idle\"}\n");
}

TEST_F(Zemolog, WhatIsReadIsNotOverwritten)
{
    const std::string content = "\tLevel\n2026-11-15 03:31:47\t1\n";
    write("a.csv", content);
    write("a.blf", WorkedExample);
    write("names", "1000\tPower\n");
    shell("ln a.csv other; ln -s a.csv a.svg");

    for (const char* arguments : {"convert a.csv -o a.csv", "convert a.csv -o ./other", "convert a.csv -o a.svg",
                                  "plot a.csv -o a.svg", "convert a.blf --names names -o names"})
    {
        const Outcome outcome = run(arguments);

        EXPECT_EQ(outcome.exitCode, 73) << arguments;
        EXPECT_NE(outcome.out.find(" is the same file as "), std::string::npos) << outcome.out;
    }
    EXPECT_EQ(read("a.csv"), content);
    EXPECT_EQ(read("names"), "1000\tPower\n");
}

TEST_F(Zemolog, AnOutputThatCannotBeWrittenIsToldWithTheReason)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47\t1\n");

    const Outcome nowhere = run("convert a.csv -o nowhere/b.csv");
    const Outcome full = run("convert a.csv -o /dev/full");

    EXPECT_EQ(nowhere.exitCode, 73);
    EXPECT_EQ(nowhere.out, "zemolog: cannot write nowhere/b.csv: No such file or directory\n");
    EXPECT_EQ(full.exitCode, 73);
    EXPECT_EQ(full.out, "zemolog: cannot write /dev/full: No space left on device\n");
}

TEST_F(Zemolog, WhatIsNoLogLeavesTheOutputAsItWas)
{
    write("a.txt", "root:x:0:0\nbin:x:1:1\n");
    write("b.csv", "of before");

    EXPECT_EQ(run("convert a.txt -o b.csv").exitCode, 65);

    EXPECT_EQ(read("b.csv"), "of before");
}

TEST_F(Zemolog, EveryKindOfTextLogIsToldApart)
{
    const std::pair<const char*, const char*> files[] = {
        {"\tA\n2026-11-15 03:31:47\t1\n", "CSV log"},
        {"Time\tA\n2026-11-15 03:31:47\t1\n", "power log"},
        {"\tA\n2024-03-05 07:00\t17\n", "hourly energy log"},
        {"\tA\n2024-03\t17\n", "monthly energy log"},
    };
    for (const auto& [content, kind] : files)
    {
        write("log.csv", content);

        EXPECT_NE(run("check log.csv").out.find(std::string(": ") + kind + ", 1 rows, good"), std::string::npos)
            << kind;
    }
}

TEST_F(Zemolog, WhatIsNoLogIsRefused)
{
    write("a.txt", "root:x:0:0\nbin:x:1:1\n");

    EXPECT_EQ(run("info a.txt").exitCode, 65);
    EXPECT_EQ(run("info nothing-here").exitCode, 66);
    EXPECT_EQ(run("info .").exitCode, 66);
    EXPECT_EQ(run("check-config nothing-here").out, "zemolog: cannot read nothing-here: No such file or directory\n");
}

TEST_F(Zemolog, APlotOfAPatternHasTheMatchingColumnsAndNoOther)
{
    write("a.csv", "\tPump 1\tPump 2\tLevel\n2026-11-15 03:31:47\t1\t2\t3\n2026-11-15 03:31:48\t-\t3\t4\n");

    const Outcome outcome = run("plot a.csv -o a.svg --column 'Pump*'");

    EXPECT_EQ(outcome.exitCode, 0) << outcome.out;
    EXPECT_NE(read("a.svg").find("Pump 2"), std::string::npos);
    EXPECT_EQ(read("a.svg").find("Level"), std::string::npos);
}

TEST_F(Zemolog, TheTimesBelowAPlotTellAsMuchAsItsLengthNeeds)
{
    write("seconds.csv", "\tLevel\n2026-11-15 03:31:47\t1\n2026-11-15 03:31:51\t2\n");
    write("hours.csv", "\tLevel\n2026-11-15 03:00:00\t1\n2026-11-15 09:00:00\t2\n");
    write("days.csv", "\tLevel\n2026-11-15 03:00:00\t1\n2027-02-15 03:00:00\t2\n");
    for (const std::string name : {"seconds", "hours", "days"})
    {
        EXPECT_EQ(run("plot " + name + ".csv -o " + name + ".svg").exitCode, 0);
    }

    EXPECT_NE(read("seconds.svg").find("03:31:49"), std::string::npos);
    EXPECT_NE(read("hours.svg").find(">05:00<"), std::string::npos);
    EXPECT_NE(read("hours.svg").find("15 Nov"), std::string::npos);
    EXPECT_NE(read("days.svg").find(">2027<"), std::string::npos);
}

TEST_F(Zemolog, APlotWithoutSuchAColumnSaysSo)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47\t1\n");

    const Outcome outcome = run("plot a.csv -o a.png --column 'Pump*'");

    EXPECT_EQ(outcome.exitCode, 64);
    EXPECT_NE(outcome.out.find("no column has such a name"), std::string::npos);
}

TEST_F(Zemolog, APictureOfAnotherKindOrWithoutASizeIsAMistakeOfTheCommandLine)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47\t1\n");

    const Outcome kind = run("plot a.csv -o a.gif");

    EXPECT_EQ(kind.exitCode, 64);
    EXPECT_NE(kind.out.find("a.gif ends neither in .png nor in .svg"), std::string::npos) << kind.out;
    EXPECT_EQ(run("plot a.csv -o a.png --width 0").exitCode, 64);
    EXPECT_EQ(run("plot a.csv -o a.png --height -1").exitCode, 64);
}

TEST_F(Zemolog, APictureThatCannotBeWrittenIsToldWithTheReason)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47\t1\n");
    shell("mkdir folder.svg");

    const Outcome folder = run("plot a.csv -o folder.svg");
    const Outcome nowhere = run("plot a.csv -o nowhere/a.svg");

    EXPECT_EQ(folder.exitCode, 73);
    EXPECT_EQ(folder.out, "zemolog: cannot write folder.svg: Is a directory\n");
    EXPECT_EQ(nowhere.exitCode, 73);
    EXPECT_EQ(nowhere.out, "zemolog: cannot write nowhere/a.svg: No such file or directory\n");
}

TEST_F(Zemolog, ALogWithoutRowsIsNoPicture)
{
    write("a.csv", "\tLevel\n");

    const Outcome outcome = run("plot a.csv -o a.svg");

    EXPECT_EQ(outcome.exitCode, 70);
    EXPECT_EQ(outcome.out, "zemolog: the log has no rows\n");
    EXPECT_EQ(shell("ls").out, "a.csv\n");
}

TEST_F(Zemolog, ADamagedLogIsDrawnAsFarAsItIsGoodAndTheDamageTold)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47\t1\n2026-11-15 03:31:48\t2\n2026-11-15 03:3");

    const Outcome outcome = run("plot a.csv -o a.svg");

    EXPECT_EQ(outcome.exitCode, 65);
    EXPECT_NE(outcome.out.find("; 2 rows before it are good"), std::string::npos) << outcome.out;
    EXPECT_NE(read("a.svg").find("Level"), std::string::npos);
}

TEST_F(Zemolog, ALogThatIsDamagedInItsFirstRowIsNotDrawnAndTheDamageTold)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47");

    const Outcome outcome = run("plot a.csv -o a.svg");

    EXPECT_EQ(outcome.exitCode, 65);
    EXPECT_NE(outcome.out.find("; 0 rows before it are good"), std::string::npos) << outcome.out;
    EXPECT_EQ(shell("ls").out, "a.csv\n");
}

TEST_F(Zemolog, ALogThatComesThroughAPipeHasNoSize)
{
    write("a.csv", "\tLevel\n2026-11-15 03:31:47\t1\n");

    const Outcome outcome = shell("cat a.csv | '" ZEMOLOG "' info /dev/stdin");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, "kind:    CSV log\nrows:    1\nfirst:   2026-11-15 03:31:47\n"
                           "last:    2026-11-15 03:31:47\ncolumns: 1\n  Level\n");
}

TEST_F(Zemolog, AGoodConfigurationGivesItsValuesAndZero)
{
    write("z.conf", "[ram]\nmax-default = 7\n[internal]\npath = /x\n");

    const Outcome outcome = run("check-config z.conf");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.out.find("max-default = 7\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("interval-minute = 259200\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("path = /x\n"), std::string::npos);
}

TEST_F(Zemolog, EveryMistakeOfAConfigurationIsToldWithItsLine)
{
    write("z.conf", "[usb]\npath = /x\nfuture = 12abc\n\n[ram]\nmax-defualt = 3\nnonsense\n[internal]\npath = /" +
                        std::string(120, 'y') + "\n");

    const Outcome outcome = run("check-config z.conf");

    EXPECT_EQ(outcome.exitCode, 78);
    EXPECT_NE(outcome.out.find("z.conf:2: unknown key 'path' in section [usb]\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("z.conf:3: '12abc' is no number; the daemon takes 12\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("z.conf:6: unknown key 'max-defualt' in section [ram]\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("z.conf:7: neither a section nor a key and its value\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("z.conf:9: the path is cut to 99 characters\n"), std::string::npos);
}
