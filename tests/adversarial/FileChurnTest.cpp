// Files that change under an open handle: removed, rewritten by another handle or by the host, or
// truncated between two reads. A read handle keeps the bytes it opened; a write handle publishes its
// own buffer when it closes; no file snapshot outlives the handles and the VM.
#include "Adversarial.hpp"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

using namespace adversarial;
namespace fs = std::filesystem;

// Desktop host table that counts file snapshots handed out and returned.
int gOutstandingSnapshots = 0;

int countingStat(const char* name, zq_file_stat* record)
{
    const int found = zq_desktop_program_api()->stat_file(name, record);
    if (found && record->data != nullptr)
    {
        ++gOutstandingSnapshots;
    }
    return found;
}

void countingRelease(const void* data)
{
    --gOutstandingSnapshots;
    zq_desktop_program_api()->release_file_bytes(data);
}

class FileChurnTest : public testing::Test
{
protected:
    void SetUp() override
    {
        api_ = *zq_desktop_program_api();
        api_.stat_file = countingStat;
        api_.release_file_bytes = countingRelease;
        previousApi_ = zq_set_program_api(&api_);
        gOutstandingSnapshots = 0;
        previousDirectory_ = fs::current_path();
        directory_ = fs::temp_directory_path() / ("velmar-churn-" + std::to_string(::getpid()));
        fs::remove_all(directory_);
        fs::create_directories(directory_);
        fs::current_path(directory_);
        writeFile("data.txt", "0123456789");
        vm_.bindFunction("remove", [](LuaVM&, const std::vector<LuaValue>& args) {
            return LuaValue(fs::remove(args.at(0).asString()));
        });
        vm_.bindFunction("rewrite", [](LuaVM&, const std::vector<LuaValue>& args) {
            writeFile(args.at(0).asString(), args.at(1).asString());
            return LuaValue(true);
        });
    }

    void TearDown() override
    {
        vm_ = LuaVM();
        EXPECT_EQ(gOutstandingSnapshots, 0) << "file snapshots still held after the VM is gone";
        zq_set_program_api(previousApi_);
        fs::current_path(previousDirectory_);
        fs::remove_all(directory_);
    }

    static void writeFile(const std::string& name, const std::string& text)
    {
        std::ofstream(name, std::ios::binary | std::ios::trunc) << text;
    }

    static std::string readFile(const std::string& name)
    {
        std::ifstream in(name, std::ios::binary);
        std::stringstream contents;
        contents << in.rdbuf();
        return contents.str();
    }

    std::string runToText(const std::string& source)
    {
        const LuaResult result = run(vm_, source);
        return result.success ? result.value.toString() : "error: " + result.error;
    }

    LuaVM vm_;
    zq_program_api api_{};
    const zq_program_api* previousApi_ = nullptr;
    fs::path previousDirectory_;
    fs::path directory_;
};

TEST_F(FileChurnTest, RemovedWhileAHandleReadsIt)
{
    EXPECT_EQ(runToText("local f = io.open('data.txt') local a = f:read(3)\n"
                        "remove('data.txt')\n"
                        "local b = f:read('*a') local size = f:seek('end') f:close()\n"
                        "local g, message = io.open('data.txt')\n"
                        "return a, b, size, g == nil, message"),
              "[012, 3456789, 10, true, failed to open file: data.txt]");
    EXPECT_FALSE(fs::exists("data.txt"));
}

TEST_F(FileChurnTest, RewrittenByAnotherHandleWhileReading)
{
    EXPECT_EQ(runToText("local r = io.open('data.txt') local a = r:read(2)\n"
                        "local w = io.open('data.txt', 'w') w:write('new') w:close()\n"
                        "local b = r:read('*a') r:close()\n"
                        "local again = io.open('data.txt') local c = again:read('*a') again:close()\n"
                        "return a, b, c"),
              "[01, 23456789, new]");
    EXPECT_EQ(readFile("data.txt"), "new");
}

TEST_F(FileChurnTest, TruncatedAndGrownByTheHostBetweenReads)
{
    EXPECT_EQ(runToText("local r = io.open('data.txt') local a = r:read(4)\n"
                        "rewrite('data.txt', '')\n"
                        "local b = r:read(3)\n"
                        "rewrite('data.txt', string.rep('z', 100000))\n"
                        "local c = r:read('*a') local d = r:read(1) r:close()\n"
                        "return a, b, c, d == nil"),
              "[0123, 456, 789, true]");
}

TEST_F(FileChurnTest, WriterPublishesItsBufferEvenIfTheFileVanished)
{
    EXPECT_EQ(runToText("local w = io.open('data.txt', 'a')\n"
                        "remove('data.txt')\n"
                        "w:write('+tail') w:close()\n"
                        "local r = io.open('data.txt') local all = r:read('*a') r:close() return all"),
              "0123456789+tail");
    EXPECT_EQ(runToText("local w = io.open('data.txt', 'r+') w:write('X')\n"
                        "rewrite('data.txt', 'host') local closed = w:close()\n"
                        "return closed"),
              "true");
}

TEST_F(FileChurnTest, TwoWritersOnOneFileLastCloseWins)
{
    EXPECT_EQ(runToText("local a = io.open('data.txt', 'w') local b = io.open('data.txt', 'w')\n"
                        "a:write('first') b:write('second') b:close() a:close()\n"
                        "local r = io.open('data.txt') local all = r:read('*a') r:close() return all"),
              "first");
}

TEST_F(FileChurnTest, DirectoryReplacesTheFileWhileAHandleIsOpen)
{
    EXPECT_EQ(runToText("local r = io.open('data.txt') local a = r:read(5)\n"
                        "remove('data.txt')\n"
                        "local w = io.open('data.txt', 'w') w:write('x')\n"
                        "return a, r:read('*a')"),
              "[01234, 56789]");
    fs::create_directory("dir.txt");
    EXPECT_EQ(runToText("local f, message = io.open('dir.txt') return f == nil, message"),
              "[true, failed to open file: dir.txt]");
    EXPECT_EQ(runToText("local w = io.open('dir.txt', 'w') w:write('x') return w:close()"), "true");
    EXPECT_TRUE(fs::is_directory("dir.txt"));
}

TEST_F(FileChurnTest, ThousandsOfHandlesLeftOpenAreReleasedWithTheirValues)
{
    EXPECT_EQ(runToText("for i = 1, 5000 do local f = io.open('data.txt') f:read(1) end\n"
                        "local kept = {} for i = 1, 100 do kept[i] = io.open('data.txt') end\n"
                        "held = kept return #kept"),
              "100");
    EXPECT_GE(gOutstandingSnapshots, 100);
    EXPECT_EQ(runToText("held = nil return 1"), "1");
    EXPECT_EQ(gOutstandingSnapshots, 0);
}

// A closure stored in the scope it captures is a reference cycle: the collector must free it, and with
// it the handle and the host's snapshot, by the time the VM is gone (TearDown checks). Found by the
// script fuzzer.
TEST_F(FileChurnTest, AHandleKeptByACycleReturnsItsSnapshotWithTheVm)
{
    EXPECT_EQ(runToText("local r = io.open('data.txt')\nlocal f = function() end\nreturn r:read(3)"), "012");
}

} // namespace
