// The console over the host table: byte rules, line splitting, table validity, fixed texts, line reading.
#include <velmar/lua/HostInterface.hpp>

#include "TestHostTable.hpp"
#include "host/SystemServices.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

class ConsoleTest : public testhost::TestHostFixture
{
  protected:
    void write(const std::string& bytes) { zq_lua_write(bytes.data(), bytes.size()); }
};

TEST_F(ConsoleTest, BackspaceTakesBackOnlyBufferedBytes)
{
    write("ab\bc\n");
    EXPECT_EQ(host.lines, Lines{"ac"});
    write("\b\bx\n"); // nothing buffered: the backspaces are lost
    write("y\n\b\n"); // the handed-over "y" is not erased
    EXPECT_EQ(host.lines, (Lines{"ac", "x", "y", ""}));
}

TEST_F(ConsoleTest, CarriageReturnsAreDroppedAndLineFeedsEndLines)
{
    write("x\r\n");
    write("\n");
    write("a\rb\r\r\nc\n\n");
    EXPECT_EQ(host.lines, (Lines{"x", "", "ab", "c", ""}));
}

TEST_F(ConsoleTest, OverlongLinesAreHandedOverInPiecesOf511)
{
    write(std::string(1000, 'a'));
    ASSERT_EQ(host.lines.size(), 1u);
    EXPECT_EQ(host.lines[0], std::string(511, 'a'));
    zq_lua_flush_output();
    ASSERT_EQ(host.lines.size(), 2u);
    EXPECT_EQ(host.lines[1], std::string(489, 'a'));

    // A full buffer waits for the next byte, so exactly 511 bytes and a line feed make one line.
    host.lines.clear();
    write(std::string(511, 'b') + "\n");
    EXPECT_EQ(host.lines, Lines{std::string(511, 'b')});

    // Split across many small writes, the cut falls at the same place.
    host.lines.clear();
    for (int i = 0; i < 600; ++i)
    {
        write(std::string(1, static_cast<char>('0' + i % 10)));
    }
    zq_lua_writeline();
    std::string digits;
    for (int i = 0; i < 600; ++i)
    {
        digits.push_back(static_cast<char>('0' + i % 10));
    }
    EXPECT_EQ(host.lines, (Lines{digits.substr(0, 511), digits.substr(511)}));
}

TEST_F(ConsoleTest, FlushEmitsOnlyPendingTextButWritelineAlwaysEndsALine)
{
    zq_lua_flush_output();
    zq_lua_flush_output_line(false);
    EXPECT_TRUE(host.lines.empty());
    zq_lua_writeline();
    write("part");
    zq_lua_flush_output();
    zq_lua_flush_output();
    zq_lua_flush_output_line(true);
    EXPECT_EQ(host.lines, (Lines{"", "part", ""}));
}

TEST_F(ConsoleTest, NullInputsWriteNothing)
{
    zq_lua_write(nullptr, 10);
    zq_lua_write_cstr(nullptr);
    velmar::lua::writeVelmarBootText(static_cast<const char*>(nullptr));
    zq_lua_writeline();
    EXPECT_EQ(host.lines, Lines{""});
}

TEST_F(ConsoleTest, BootTextWritesBytesThroughTheConsole)
{
    velmar::lua::writeVelmarBootText(std::string("one\r\ntw"));
    velmar::lua::writeVelmarBootText("o\n");
    // The string form writes every byte, a zero included; the host sees the line up to it.
    velmar::lua::writeVelmarBootText(std::string("a\0b\n", 4));
    EXPECT_EQ(host.lines, (Lines{"one", "two", "a"}));
}

TEST_F(ConsoleTest, TableTooSmallForTheWriteLineSlotDropsOutput)
{
    host.table.size = 64; // 64 + 4 exceeds 64
    EXPECT_FALSE(zq_program_api_field_ready(ZQ_API_WRITE_LINE));
    EXPECT_TRUE(zq_program_api_field_ready(ZQ_API_DELETE_FILE));
    write("lost\n");
    write("also lost");
    zq_lua_flush_output();
    host.table.size = 68;
    EXPECT_TRUE(zq_program_api_field_ready(ZQ_API_WRITE_LINE));
    EXPECT_FALSE(zq_program_api_field_ready(ZQ_API_READ_LINE));
    write("kept\n");
    EXPECT_EQ(host.lines, Lines{"kept"});
}

TEST_F(ConsoleTest, NullSlotsAreSkipped)
{
    host.table.write_line = nullptr;
    host.table.read_line = nullptr;
    EXPECT_TRUE(zq_program_api_field_ready(ZQ_API_WRITE_LINE)); // readiness ignores the slot's content
    write("nobody listens\n");
    char buffer[8];
    EXPECT_FALSE(zq_lua_readline(buffer, sizeof buffer, "", false));
}

TEST_F(ConsoleTest, SettingTheTableReturnsThePreviousAndNullRestoresTheDesktop)
{
    testhost::TestHost other;
    EXPECT_EQ(zq_set_program_api(&other.table), &host.table);
    EXPECT_EQ(zq_set_program_api(nullptr), &other.table);
    EXPECT_EQ(zq_set_program_api(&host.table), zq_desktop_program_api());
    const zq_program_api* desktop = zq_desktop_program_api();
    EXPECT_EQ(std::string(desktop->magic, 4), "ZQAP");
    EXPECT_NE(desktop->live, 0u);
    EXPECT_EQ(desktop->size, static_cast<std::uint32_t>(ZQ_API_FULL_SIZE));
}

TEST_F(ConsoleTest, ErrorTextIsFormattedAndCutTo319Characters)
{
    zq_lua_write_errorf("error: %s\n", "boom");
    zq_lua_write_errorf(nullptr, "plain\n");
    zq_lua_write_errorf("[%s]\n", nullptr);
    zq_lua_write_errorf("%s", "");
    zq_lua_write_errorf("100%% %5s|\n", "ab");
    EXPECT_EQ(host.lines, (Lines{"error: boom", "plain", "[]", "100%    ab|"}));

    host.lines.clear();
    zq_lua_write_errorf("%s", std::string(400, 'e').c_str());
    zq_lua_writeline();
    EXPECT_EQ(host.lines, Lines{std::string(319, 'e')});
}

TEST_F(ConsoleTest, ErrorFormatTakesOneTextAndPrintsOtherConversionsLiterally)
{
    zq_lua_write_errorf("%d %s %s %n %.*s\n", "x");
    EXPECT_EQ(host.lines, Lines{"%d x %s %n %.*s"});
}

TEST_F(ConsoleTest, BannerAndHelpTextsAreExact)
{
    zq_lua_show_banner();
    EXPECT_EQ(host.lines,
              (Lines{"VelmarLua Desktop For VelmarBoot", "type Lua code at the VelmarBoot prompt and press Enter",
                     "type exit or press Esc on an empty prompt to leave", "autoruns index.lua if it is present",
                     "use dofile(\"name.lua\") to run files from disk", ""}));
    host.lines.clear();
    zq_lua_show_help();
    EXPECT_EQ(host.lines, (Lines{"Embedded Version:: VelmarLua 0.2", ""}));
}

TEST_F(ConsoleTest, ReadlineFlushesThePromptFirstAndPassesItsArguments)
{
    host.input = {"answer"};
    write("name? ");
    char buffer[32] = {};
    EXPECT_TRUE(zq_lua_readline(buffer, sizeof buffer, "hint", true));
    EXPECT_STREQ(buffer, "answer");
    EXPECT_EQ(host.lines, Lines{"name? "});
    ASSERT_EQ(host.readRequests.size(), 1u);
    EXPECT_EQ(host.readRequests[0], (std::pair<std::string, std::uint32_t>{"hint", 32}));

    EXPECT_FALSE(zq_lua_readline(buffer, sizeof buffer, "", false)); // host has no more lines
    EXPECT_FALSE(zq_lua_readline(nullptr, 10, "", false));
    EXPECT_FALSE(zq_lua_readline(buffer, 0, "", false));
    EXPECT_EQ(host.readRequests.size(), 2u);
}

TEST(ConsoleSystemServicesTest, ClockCountsCallsAndTheEnvironmentIsEmpty)
{
    zq::gLuaClockTicks = 0;
    EXPECT_EQ(zq::clock(), 0);
    EXPECT_EQ(zq::clock(), 1);
    EXPECT_EQ(zq::clock(), 2);
    EXPECT_EQ(zq::gLuaClockTicks.load(), 3u);
    EXPECT_EQ(zq::getenv("PATH"), nullptr);
    EXPECT_EQ(zq::system("echo hi"), -1);
}

TEST_F(ConsoleTest, MemoryServicesForwardToTheTable)
{
    void* block = zq::malloc(16);
    ASSERT_NE(block, nullptr);
    block = zq::realloc(block, 4096);
    ASSERT_NE(block, nullptr);
    zq::free(block);
    host.failAllocate = true;
    EXPECT_EQ(zq::malloc(16), nullptr);
    host.table.size = ZQ_API_ALLOCATE; // allocate slot no longer covered
    host.failAllocate = false;
    EXPECT_EQ(zq::malloc(16), nullptr);
}

} // namespace
