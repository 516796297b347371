// The file layer over a recording in-memory host, the desktop host's real files, and the file stream.
#include <velmar/lua/HostInterface.hpp>

#include "TestHostTable.hpp"
#include "host/DesktopHost.hpp"
#include "host/FileLayer.hpp"
#include "host/FileStream.hpp"
#include "support/FileErrors.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

// Every case runs twice: on a boot-sized table, where the host owns the bytes a stat hands out, and on
// a full one, where each stat's bytes must come back through the release slot exactly once (the
// fixture checks at the end).
class FileLayerTest : public testhost::TestHostFixture, public testing::WithParamInterface<bool>
{
  protected:
    void SetUp() override
    {
        TestHostFixture::SetUp();
        if (GetParam())
        {
            host.enableReleaseSlot();
        }
    }

    // Every byte a handle yields through getc until the end.
    static std::string drain(zqfs_file* file)
    {
        std::string text;
        for (int c; (c = zqfs_getc(file)) != -1;)
        {
            text.push_back(static_cast<char>(c));
        }
        return text;
    }
    static std::size_t put(zqfs_file* file, const std::string& bytes)
    {
        return zqfs_fwrite(bytes.data(), 1, bytes.size(), file);
    }
};

TEST_P(FileLayerTest, ModeLettersAreFoundAnywhereInTheMode)
{
    host.putFile("f", "abc");
    zqfs_file* readOnly = zqfs_fopen("f", "xyzr!");
    ASSERT_NE(readOnly, nullptr);
    EXPECT_EQ(drain(readOnly), "abc");
    EXPECT_EQ(put(readOnly, "no"), 0u);
    EXPECT_EQ(zqfs_fclose(readOnly), 0);

    zqfs_file* update = zqfs_fopen("f", "q+"); // '+' alone reads and writes, keeping the contents
    ASSERT_NE(update, nullptr);
    EXPECT_EQ(zqfs_getc(update), 'a');
    EXPECT_EQ(put(update, "X"), 1u);
    EXPECT_EQ(zqfs_fclose(update), 0);
    EXPECT_EQ(host.file("f"), "aXc");

    zqfs_file* truncating = zqfs_fopen("f", "bw");
    ASSERT_NE(truncating, nullptr);
    EXPECT_EQ(zqfs_getc(truncating), -1); // 'w' alone does not read
    EXPECT_EQ(zqfs_fclose(truncating), 0);
    EXPECT_EQ(host.file("f"), "");
}

TEST_P(FileLayerTest, MissingFileFailsOnlyForReadOnlyModes)
{
    zq_errno = 0;
    EXPECT_EQ(zqfs_fopen("missing", "r"), nullptr);
    EXPECT_EQ(zq_errno, 2);
    EXPECT_STREQ(zq::strerror(zq_errno), "no such file");
    EXPECT_EQ(zqfs_fopen("missing", "rb"), nullptr);
    EXPECT_FALSE(host.hasFile("missing"));

    for (const char* mode : {"w", "a", "r+"})
    {
        SCOPED_TRACE(mode);
        zqfs_file* file = zqfs_fopen("missing", mode);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(zqfs_ftell(file), 0);
        EXPECT_EQ(zqfs_fseek(file, 0, 2), 0);
        EXPECT_EQ(zqfs_ftell(file), 0);
        // A file opened for writing exists afterwards even when nothing was written.
        EXPECT_EQ(zqfs_fclose(file), 0);
        EXPECT_EQ(host.file("missing"), "");
        ASSERT_EQ(zqfs_remove("missing"), 0);
    }
}

TEST_P(FileLayerTest, WriteModeReplacesTheFileAtFlushNotAtOpen)
{
    host.putFile("f", "old contents");
    zqfs_file* file = zqfs_fopen("f", "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(host.file("f"), "old contents");
    EXPECT_EQ(put(file, "new"), 3u);
    EXPECT_EQ(host.file("f"), "old contents");
    EXPECT_TRUE(host.writes.empty());
    EXPECT_EQ(zqfs_fflush(file), 0);
    EXPECT_EQ(host.file("f"), "new");
    EXPECT_EQ(zqfs_fflush(file), 0); // unchanged since: nothing more to write
    EXPECT_EQ(zqfs_fclose(file), 0);
    ASSERT_EQ(host.writes.size(), 1u);
    EXPECT_EQ(host.writes[0], (std::pair<std::string, std::string>{"f", "new"}));
}

TEST_P(FileLayerTest, AppendModeWritesAtTheEndWhereverThePositionIs)
{
    host.putFile("log", "ab");
    zqfs_file* file = zqfs_fopen("log", "a");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(zqfs_ftell(file), 2);
    ASSERT_EQ(zqfs_fseek(file, 0, 0), 0);
    EXPECT_EQ(zqfs_getc(file), 'a'); // append handles also read
    EXPECT_EQ(put(file, "c"), 1u);
    EXPECT_EQ(zqfs_ftell(file), 3);
    EXPECT_EQ(zqfs_fclose(file), 0);
    EXPECT_EQ(host.file("log"), "abc");
}

TEST_P(FileLayerTest, WritingPastTheEndFillsTheGapWithZeros)
{
    zqfs_file* file = zqfs_fopen("g", "w");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(zqfs_fseek(file, 4, 0), 0);
    EXPECT_EQ(zqfs_feof(file), 1); // at or past the end
    EXPECT_EQ(put(file, "x"), 1u);
    ASSERT_EQ(zqfs_fseek(file, 2, 2), 0);
    EXPECT_EQ(put(file, "yz"), 2u);
    EXPECT_EQ(zqfs_ftell(file), 9);
    EXPECT_EQ(zqfs_fclose(file), 0);
    EXPECT_EQ(host.file("g"), std::string("\0\0\0\0x\0\0yz", 9));
}

TEST_P(FileLayerTest, ReadOnlyHandlesNeverWriteBack)
{
    host.putFile("r", "keep");
    zqfs_file* file = zqfs_fopen("r", "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(put(file, "overwrite"), 0u);
    EXPECT_EQ(zqfs_ferror(file), 1);
    EXPECT_EQ(zq_errno, 9);
    EXPECT_EQ(zqfs_fflush(file), 0);
    EXPECT_EQ(zqfs_fclose(file), 0);
    EXPECT_TRUE(host.writes.empty());
    EXPECT_EQ(host.file("r"), "keep");
}

TEST_P(FileLayerTest, NamesAreCutTo240Characters)
{
    std::string longName(300, 'n');
    zqfs_file* file = zqfs_fopen(longName.c_str(), "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(put(file, "data"), 4u);
    EXPECT_EQ(zqfs_fclose(file), 0);
    EXPECT_FALSE(host.hasFile(longName));
    EXPECT_EQ(host.file(std::string(240, 'n')), "data");

    // Reading goes by the cut name as well.
    file = zqfs_fopen((std::string(240, 'n') + "ignored").c_str(), "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(drain(file), "data");
    zqfs_fclose(file);
}

TEST_P(FileLayerTest, ConsoleInputReadsHostLinesEachEndingInALineFeed)
{
    host.input = {"first", "", "third"};
    zqfs_file* in = zqfs_fopen("__zqfs_stdin", "w"); // the mode does not matter
    ASSERT_NE(in, nullptr);
    char piece[4];
    EXPECT_EQ(zqfs_fread(piece, 1, 4, in), 4u);
    EXPECT_EQ(std::string(piece, 4), "firs");
    EXPECT_EQ(drain(in), "t\n\nthird\n");
    EXPECT_EQ(zqfs_feof(in), 1); // the host refused a fourth line
    EXPECT_EQ(host.readRequests.size(), 4u);
    EXPECT_EQ(host.readRequests[0], (std::pair<std::string, std::uint32_t>{"", 510}));
    EXPECT_EQ(put(in, "x"), 0u);
    host.input = {"again"};
    EXPECT_EQ(drain(in), "again\n"); // a later read asks the host again
    EXPECT_EQ(zqfs_fseek(in, 0, 0), -1);
    EXPECT_EQ(zq_errno, 22);
    EXPECT_EQ(zqfs_fclose(in), 0);
    EXPECT_EQ(host.stats, 0);
}

TEST_P(FileLayerTest, ConsoleOutputHandlesWriteToTheConsoleAndCannotSeek)
{
    zqfs_file* out = zqfs_fopen("__zqfs_stdout", "r");
    zqfs_file* err = zqfs_fopen("__zqfs_stderr", "");
    ASSERT_NE(out, nullptr);
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(put(out, "hi\nthe"), 6u);
    EXPECT_EQ(put(err, "re\n"), 3u);
    EXPECT_EQ(host.lines, (Lines{"hi", "there"}));
    EXPECT_EQ(zqfs_ftell(out), 6);
    EXPECT_EQ(zqfs_getc(out), -1);

    zq_errno = 0;
    EXPECT_EQ(zqfs_fseek(out, 0, 0), -1);
    EXPECT_EQ(zq_errno, 22);
    EXPECT_EQ(zqfs_ferror(out), 1);
    EXPECT_EQ(zqfs_ftell(out), 6);
    EXPECT_EQ(zqfs_fclose(out), 0);
    EXPECT_EQ(zqfs_fclose(err), 0);
    EXPECT_EQ(host.stats, 0);
    EXPECT_TRUE(host.writes.empty());
}

TEST_P(FileLayerTest, FailedSeeksLeaveThePositionAndSetTheErrorFlag)
{
    host.putFile("s", "0123456789");
    zqfs_file* file = zqfs_fopen("s", "r");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(zqfs_fseek(file, 3, 0), 0);
    struct Case
    {
        long offset;
        int whence;
    };
    for (Case bad : {Case{-1, 0}, Case{-4, 1}, Case{-11, 2}, Case{0, 3}, Case{0, -1}})
    {
        SCOPED_TRACE(std::to_string(bad.offset) + "/" + std::to_string(bad.whence));
        zq_errno = 0;
        EXPECT_EQ(zqfs_fseek(file, bad.offset, bad.whence), -1);
        EXPECT_EQ(zq_errno, 22);
        EXPECT_EQ(zqfs_ftell(file), 3);
    }
    EXPECT_EQ(zqfs_ferror(file), 1);
    EXPECT_EQ(zqfs_fseek(file, -3, 1), 0); // exactly the start is fine
    EXPECT_EQ(zqfs_ftell(file), 0);
    EXPECT_EQ(zqfs_fseek(file, 0, 2), 0);
    EXPECT_EQ(zqfs_feof(file), 1);
    EXPECT_EQ(zqfs_fseek(file, -2, 2), 0);
    EXPECT_EQ(zqfs_feof(file), 0);
    EXPECT_EQ(drain(file), "89");
    zqfs_fclose(file);
}

TEST_P(FileLayerTest, PushbackComesFirstAndSeekingDropsIt)
{
    host.putFile("p", "ab");
    zqfs_file* file = zqfs_fopen("p", "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(zqfs_getc(file), 'a');
    EXPECT_EQ(zqfs_ungetc('Q', file), 'Q');
    EXPECT_EQ(zqfs_ftell(file), 1); // the position does not move back
    EXPECT_EQ(zqfs_getc(file), 'Q');
    EXPECT_EQ(zqfs_getc(file), 'b');
    EXPECT_EQ(zqfs_getc(file), -1);
    EXPECT_EQ(zqfs_feof(file), 1);

    EXPECT_EQ(zqfs_ungetc(0x1FF, file), 0xFF);
    EXPECT_EQ(zqfs_feof(file), 0);
    char pair[2];
    EXPECT_EQ(zqfs_fread(pair, 2, 1, file), 0u); // one byte is not a whole item
    EXPECT_EQ(static_cast<unsigned char>(pair[0]), 0xFF);

    EXPECT_EQ(zqfs_ungetc(-1, file), -1);
    EXPECT_EQ(zqfs_ungetc('x', nullptr), -1);
    EXPECT_EQ(zqfs_ungetc('x', file), 'x');
    zqfs_clearerr(file);
    EXPECT_EQ(zqfs_getc(file), -1);
    EXPECT_EQ(zqfs_ungetc('y', file), 'y');
    ASSERT_EQ(zqfs_fseek(file, 0, 0), 0);
    EXPECT_EQ(zqfs_getc(file), 'a');
    zqfs_fclose(file);
}

TEST_P(FileLayerTest, FreadCountsWholeItemsAndConsumesAPartialOne)
{
    host.putFile("d", "0123456789");
    zqfs_file* file = zqfs_fopen("d", "r");
    ASSERT_NE(file, nullptr);
    char items[12];
    EXPECT_EQ(zqfs_fread(items, 4, 3, file), 2u);
    EXPECT_EQ(std::string(items, 10), "0123456789");
    EXPECT_EQ(zqfs_feof(file), 1);
    EXPECT_EQ(zqfs_ftell(file), 10);
    EXPECT_EQ(zqfs_fread(items, 0, 3, file), 0u);
    zqfs_fclose(file);
}

TEST_P(FileLayerTest, RenameCopiesThenDeletesAndReportsWhyItFailed)
{
    host.putFile("a", "AAA");
    EXPECT_EQ(zqfs_rename("a", "b"), 0);
    EXPECT_FALSE(host.hasFile("a"));
    EXPECT_EQ(host.file("b"), "AAA");

    EXPECT_EQ(zqfs_rename("a", "c"), -1);
    EXPECT_EQ(zq_errno, 2);

    host.refuseWrites = true;
    EXPECT_EQ(zqfs_rename("b", "c"), -1);
    EXPECT_EQ(zq_errno, 5);
    EXPECT_EQ(host.file("b"), "AAA");
    host.refuseWrites = false;

    host.refuseDeletes = true;
    EXPECT_EQ(zqfs_rename("b", "c"), -1);
    EXPECT_EQ(zq_errno, 5);
    EXPECT_EQ(host.file("b"), "AAA");
    host.refuseDeletes = false;

    EXPECT_EQ(zqfs_rename("b", "b"), 0); // onto itself: kept, not copied and deleted
    EXPECT_EQ(host.file("b"), "AAA");
    EXPECT_EQ(zqfs_rename(nullptr, "b"), -1);
    EXPECT_EQ(zq_errno, 22);
}

TEST_P(FileLayerTest, RefusedFlushKeepsTheChangesForALaterTry)
{
    zqfs_file* file = zqfs_fopen("f", "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(put(file, "data"), 4u);
    host.refuseWrites = true;
    EXPECT_EQ(zqfs_fflush(file), -1);
    EXPECT_EQ(zq_errno, 5);
    EXPECT_STREQ(zq::strerror(zq_errno), "i/o error");
    EXPECT_EQ(zqfs_ferror(file), 1);
    EXPECT_FALSE(host.hasFile("f"));
    host.refuseWrites = false;
    EXPECT_EQ(zqfs_fflush(file), 0);
    EXPECT_EQ(host.file("f"), "data");
    EXPECT_EQ(put(file, "+"), 1u);
    host.refuseWrites = true;
    EXPECT_EQ(zqfs_fclose(file), -1); // close reports the failed flush and still releases the handle
    EXPECT_EQ(host.file("f"), "data");
}

TEST_P(FileLayerTest, AllocationFailuresReportOutOfMemory)
{
    host.failAllocate = true;
    zq_errno = 0;
    EXPECT_EQ(zqfs_fopen("x", "w"), nullptr);
    EXPECT_EQ(zq_errno, 12);
    EXPECT_EQ(zqfs_fopen("__zqfs_stdout", "w"), nullptr);
    host.failAllocate = false;

    host.failResize = true; // the first buffer comes from allocate, growing it fails
    zqfs_file* file = zqfs_fopen("x", "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(put(file, std::string(200, 'a')), 200u);
    zq_errno = 0;
    EXPECT_EQ(put(file, std::string(100, 'b')), 0u);
    EXPECT_EQ(zq_errno, 12);
    EXPECT_EQ(zqfs_ferror(file), 1);
    EXPECT_EQ(zqfs_fclose(file), 0);
    EXPECT_EQ(host.file("x"), std::string(200, 'a'));
}

TEST_P(FileLayerTest, WithoutAValidTableFilesCannotBeOpened)
{
    host.putFile("f", "x");
    host.table.live = 0;
    EXPECT_EQ(zqfs_fopen("f", "r"), nullptr);
    EXPECT_FALSE(zqfs_write_entire_file("f", "y", 1));
    EXPECT_EQ(zqfs_remove("f"), -1);
    host.table.live = 1;
    host.table.size = ZQ_API_STAT_FILE; // memory and the stat slot are out of reach
    EXPECT_EQ(zqfs_fopen("f", "r"), nullptr);
    EXPECT_EQ(host.file("f"), "x");
}

TEST_P(FileLayerTest, WholeFileHelpers)
{
    host.putFile("bin", std::string("by\0tes", 6));
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    ASSERT_TRUE(zqfs_read_entire_file("bin", &bytes, &size));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), size), std::string("by\0tes", 6));
    zqfs_free(bytes);

    host.putFile("empty", "");
    bytes = nullptr;
    ASSERT_TRUE(zqfs_read_entire_file("empty", &bytes, &size));
    EXPECT_EQ(size, 0u);
    EXPECT_NE(bytes, nullptr); // at least one byte is allocated
    zqfs_free(bytes);

    EXPECT_FALSE(zqfs_read_entire_file("none", &bytes, &size));
    EXPECT_EQ(zq_errno, 2);
    EXPECT_FALSE(zqfs_read_entire_file(nullptr, &bytes, &size));
    EXPECT_EQ(zq_errno, 22);

    EXPECT_TRUE(zqfs_write_entire_file("w", "xyz", 3));
    EXPECT_EQ(host.file("w"), "xyz");
    EXPECT_TRUE(zqfs_write_entire_file("w", nullptr, 0));
    EXPECT_EQ(host.file("w"), "");
    EXPECT_FALSE(zqfs_write_entire_file("w", nullptr, 1));
    EXPECT_EQ(zq_errno, 22);
    host.refuseWrites = true;
    EXPECT_FALSE(zqfs_write_entire_file("w", "q", 1));
    EXPECT_EQ(zq_errno, 5);
}

TEST_P(FileLayerTest, RemoveReportsRefusalAndNullNames)
{
    host.putFile("f", "1");
    EXPECT_EQ(zqfs_remove("f"), 0);
    EXPECT_FALSE(host.hasFile("f"));
    EXPECT_EQ(zqfs_remove("f"), -1);
    EXPECT_EQ(zq_errno, 5);
    EXPECT_EQ(zqfs_remove(nullptr), -1);
    EXPECT_EQ(zq_errno, 22);
}

TEST_P(FileLayerTest, NullHandlesAndArguments)
{
    EXPECT_EQ(zqfs_fclose(nullptr), 0);
    zq_errno = 0;
    EXPECT_EQ(zqfs_ftell(nullptr), -1);
    EXPECT_EQ(zq_errno, 22);
    EXPECT_EQ(zqfs_feof(nullptr), 0);
    EXPECT_EQ(zqfs_ferror(nullptr), 0);
    EXPECT_EQ(zqfs_fflush(nullptr), 0);
    EXPECT_EQ(zqfs_getc(nullptr), -1);
    EXPECT_EQ(zqfs_fseek(nullptr, 0, 0), -1);
    EXPECT_EQ(zqfs_fopen(nullptr, "r"), nullptr);
    EXPECT_EQ(zqfs_fopen("f", nullptr), nullptr);
    EXPECT_EQ(zq_errno, 22);
}

TEST_P(FileLayerTest, FreopenClosesTheOldHandleFirst)
{
    zqfs_file* file = zqfs_fopen("one", "w");
    ASSERT_NE(file, nullptr);
    put(file, "1");
    file = zqfs_freopen("one", "r", file);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(drain(file), "1");
    zqfs_fclose(file);
}

TEST_P(FileLayerTest, ErrorTexts)
{
    const std::vector<std::pair<int, const char*>> texts = {{0, "ok"},
                                                            {2, "no such file"},
                                                            {5, "i/o error"},
                                                            {9, "bad file descriptor"},
                                                            {12, "out of memory"},
                                                            {13, "permission denied"},
                                                            {17, "file exists"},
                                                            {22, "invalid argument"},
                                                            {1, "error"},
                                                            {-5, "error"}};
    for (auto [code, text] : texts)
    {
        EXPECT_STREQ(zq::strerror(code), text) << code;
        EXPECT_STREQ(zq_strerror(code), text) << code;
    }
}

TEST_P(FileLayerTest, ImageEntryPointsHaveNoImageOfTheirOwn)
{
    EXPECT_EQ(zqfs_mount_image("img", 3), 0);
    EXPECT_TRUE(zqfs_is_mounted());
    zqfs_unmount();
    EXPECT_TRUE(zqfs_is_mounted());
    EXPECT_EQ(zqfs_image_data(), nullptr);
    EXPECT_EQ(zqfs_image_size(), 0u);
    EXPECT_FALSE(zqfs_export_image("out.img"));
    EXPECT_EQ(zq_errno, 22);
    EXPECT_FALSE(host.hasFile("out.img"));
    EXPECT_TRUE(zqfs_register_virtual_file("v.lua", "print(1)", 8));
    zqfs_clear_virtual_files();
    EXPECT_EQ(host.file("v.lua"), "print(1)");
}

INSTANTIATE_TEST_SUITE_P(HostTables, FileLayerTest, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) { return info.param ? "Full" : "Boot"; });

// The built-in desktop table over real files in a fresh directory.
class DesktopHostTest : public ::testing::Test
{
  protected:
    void SetUp() override
    {
        previous = zq_set_program_api(nullptr);
        char pattern[] = "/tmp/velmar-host-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        dir = pattern;
        baseline = zq::desktopFileSnapshotCount();
    }
    void TearDown() override
    {
        EXPECT_EQ(zq::desktopFileSnapshotCount(), baseline) << "stat snapshots leaked";
        std::error_code ignored;
        fs::remove_all(dir, ignored);
        zq_set_program_api(previous);
    }
    std::string path(const std::string& name) const { return (dir / name).string(); }
    static void writeDisk(const std::string& file, const std::string& bytes)
    {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    }
    static std::string readDisk(const std::string& file)
    {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    const zq_program_api* previous = nullptr;
    fs::path dir;
    std::size_t baseline = 0;
};

TEST_F(DesktopHostTest, ReadOnlyHandleKeepsItsBytesWhenTheFileIsRewritten)
{
    std::string file = path("data.txt");
    writeDisk(file, "original");
    zqfs_file* reader = zqfs_fopen(file.c_str(), "r");
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(zq::desktopFileSnapshotCount(), baseline + 1);
    EXPECT_EQ(zqfs_getc(reader), 'o');

    writeDisk(file, "XY"); // rewritten in place by someone else
    ASSERT_TRUE(zqfs_write_entire_file(file.c_str(), "rewritten by us", 15));
    char rest[16] = {};
    EXPECT_EQ(zqfs_fread(rest, 1, sizeof rest, reader), 7u);
    EXPECT_STREQ(rest, "riginal");
    EXPECT_EQ(zqfs_fclose(reader), 0);
    EXPECT_EQ(zq::desktopFileSnapshotCount(), baseline);

    EXPECT_EQ(readDisk(file), "rewritten by us");
}

TEST_F(DesktopHostTest, MissingFilesAndDirectoriesCannotBeRead)
{
    EXPECT_EQ(zqfs_fopen(path("absent").c_str(), "r"), nullptr);
    EXPECT_EQ(zq_errno, 2);
    EXPECT_EQ(zqfs_fopen(dir.c_str(), "r"), nullptr);
    EXPECT_EQ(zq_errno, 2);
    EXPECT_EQ(zqfs_remove(path("absent").c_str()), -1);
    EXPECT_EQ(zq_errno, 5);
    zqfs_file* handle = zqfs_fopen(path("no/such/dir/f").c_str(), "w");
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(zqfs_fclose(handle), -1); // the host cannot create it
    EXPECT_EQ(zq_errno, 5);
}

// Confined to a directory, the desktop table reaches nothing outside it, however the name is spelled.
TEST_F(DesktopHostTest, ConfinementKeepsEveryNameBeneathItsDirectory)
{
    fs::create_directories(dir / "jail" / "sub");
    fs::create_directories(dir / "outside");
    writeDisk(path("secret.txt"), "secret");
    writeDisk(path("outside/other.txt"), "other");
    writeDisk(path("jail/inside.txt"), "inside");
    fs::create_symlink(dir / "secret.txt", dir / "jail" / "absolute-link");
    fs::create_symlink("../secret.txt", dir / "jail" / "relative-link");
    fs::create_symlink(dir / "outside", dir / "jail" / "dir-link");
    fs::create_symlink("inside.txt", dir / "jail" / "inner-link");
    ASSERT_TRUE(zq_desktop_confine_files(path("jail").c_str(), false));
    struct Lift
    {
        ~Lift() { zq_desktop_confine_files(nullptr, false); }
    } lift;

    const std::string absolute = path("secret.txt");
    const char* const escapes[] = {absolute.c_str(), "../secret.txt", "sub/../../secret.txt", "./../secret.txt",
                                   "absolute-link", "relative-link", "dir-link/other.txt", "/etc/passwd", ".."};
    for (const char* name : escapes)
    {
        EXPECT_EQ(zqfs_fopen(name, "r"), nullptr) << name;
        zqfs_file* writer = zqfs_fopen(name, "w"); // a writable handle opens: the host refuses at close
        ASSERT_NE(writer, nullptr) << name;
        EXPECT_EQ(zqfs_fclose(writer), -1) << name;
        const bool link = std::string(name).ends_with("-link");
        EXPECT_EQ(zqfs_remove(name), link ? 0 : -1) << name; // a link inside is removed, never what it points at
    }
    EXPECT_EQ(readDisk(path("secret.txt")), "secret");
    EXPECT_EQ(readDisk(path("outside/other.txt")), "other");
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "jail" / "absolute-link")));

    // Names beneath the directory work as ever, links that stay inside included.
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    ASSERT_TRUE(zqfs_read_entire_file("inner-link", &bytes, &size));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), size), "inside");
    zqfs_free(bytes);
    ASSERT_TRUE(zqfs_write_entire_file("sub/new.txt", "new", 3));
    EXPECT_EQ(readDisk(path("jail/sub/new.txt")), "new");
    EXPECT_EQ(zqfs_rename("sub/new.txt", "sub/../moved.txt"), 0);
    EXPECT_EQ(readDisk(path("jail/moved.txt")), "new");
    EXPECT_EQ(zqfs_remove("moved.txt"), 0);
    EXPECT_FALSE(fs::exists(dir / "jail" / "moved.txt"));

    // Read-only: nothing is written or deleted, reading goes on.
    ASSERT_TRUE(zq_desktop_confine_files(path("jail").c_str(), true));
    EXPECT_FALSE(zqfs_write_entire_file("inside.txt", "changed", 7));
    EXPECT_EQ(zqfs_remove("inside.txt"), -1);
    EXPECT_EQ(readDisk(path("jail/inside.txt")), "inside");
    ASSERT_TRUE(zqfs_read_entire_file("inside.txt", &bytes, &size));
    zqfs_free(bytes);

    // A directory that cannot be opened changes nothing; lifting the confinement restores plain names.
    EXPECT_FALSE(zq_desktop_confine_files(path("missing").c_str(), false));
    EXPECT_FALSE(zqfs_write_entire_file("inside.txt", "changed", 7));
    EXPECT_TRUE(zq_desktop_confine_files(nullptr, false));
    ASSERT_TRUE(zqfs_read_entire_file(absolute.c_str(), &bytes, &size));
    zqfs_free(bytes);
}

TEST_F(DesktopHostTest, LinesGoToStandardOutputAndComeFromStandardInput)
{
    std::string outFile = path("stdout.txt");
    std::string inFile = path("stdin.txt");
    writeDisk(inFile, "hello\r\nworld\n" + std::string(40, 'x') + "\r\nlast");

    std::fflush(stdout);
    int savedOut = ::dup(1);
    int savedIn = ::dup(0);
    int outFd = ::open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int inFd = ::open(inFile.c_str(), O_RDONLY);
    ASSERT_GE(outFd, 0);
    ASSERT_GE(inFd, 0);
    ::dup2(outFd, 1);
    ::dup2(inFd, 0);
    ::close(outFd);
    ::close(inFd);

    zq_lua_write_cstr("a\r\nprompt> ");
    char line[16];
    std::vector<std::string> read;
    while (zq_lua_readline(line, sizeof line, "", false))
    {
        read.emplace_back(line);
    }
    std::fflush(stdout);
    ::dup2(savedOut, 1);
    ::dup2(savedIn, 0);
    ::close(savedOut);
    ::close(savedIn);
    std::clearerr(stdin);

    EXPECT_EQ(read, (Lines{"hello", "world", std::string(15, 'x'), "last"}));
    EXPECT_EQ(readDisk(outFile), "a\nprompt> \n");
}

// The file stream over the recording host.
class FileStreamTest : public testhost::TestHostFixture
{
};

TEST_F(FileStreamTest, RefusedWritesShowAtFlushAndClose)
{
    zq::fstream stream("out.bin", zq::fstream::out | zq::fstream::binary);
    ASSERT_TRUE(stream.is_open());
    stream.write("abc", 3);
    EXPECT_TRUE(stream.good()); // nothing reached the host yet
    host.refuseWrites = true;
    EXPECT_TRUE(stream.flush().bad());
    stream.close();
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(host.hasFile("out.bin"));
}

} // namespace
