// Runs every golden script under tests/scripts and compares the exact console bytes it produced.
//
// The expected file holds each console line followed by "\n"; a failed run adds "error: " and its
// message, a run that called os.exit adds "exit: " and the code. Each script runs in a fresh VM, in a
// fresh working directory, with the chunk name "<area>/<name>.lua".
#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;

std::string gCaptured;

int captureLine(const char* text)
{
    gCaptured += text;
    gCaptured += '\n';
    return 1;
}

std::string readFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

std::vector<std::string> findScripts()
{
    std::vector<std::string> scripts;
    for (const auto& entry : fs::recursive_directory_iterator(VELMAR_GOLDEN_DIR))
    {
        if (entry.is_regular_file() && entry.path().extension() == ".lua")
        {
            scripts.push_back(fs::relative(entry.path(), VELMAR_GOLDEN_DIR).generic_string());
        }
    }
    std::sort(scripts.begin(), scripts.end());
    return scripts;
}

class GoldenScriptTest : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override
    {
        api_ = *zq_desktop_program_api();
        api_.write_line = captureLine;
        previousApi_ = zq_set_program_api(&api_);
        gCaptured.clear();
        previousDirectory_ = fs::current_path();
        workDirectory_ = fs::temp_directory_path() / ("velmar-golden-" + std::to_string(::getpid()));
        fs::remove_all(workDirectory_);
        fs::create_directories(workDirectory_);
        fs::current_path(workDirectory_);
    }

    void TearDown() override
    {
        zq_lua_flush_output();
        zq_set_program_api(previousApi_);
        fs::current_path(previousDirectory_);
        fs::remove_all(workDirectory_);
    }

    zq_program_api api_{};
    const zq_program_api* previousApi_ = nullptr;
    fs::path previousDirectory_;
    fs::path workDirectory_;
};

TEST_P(GoldenScriptTest, ProducesExpectedOutput)
{
    const fs::path script = fs::path(VELMAR_GOLDEN_DIR) / GetParam();
    fs::path expectedPath = script;
    expectedPath.replace_extension(".expected");
    ASSERT_TRUE(fs::exists(expectedPath)) << "missing " << expectedPath;

    velmar::lua::LuaVM vm;
    const velmar::lua::LuaResult result = vm.runScriptString(readFile(script), GetParam());
    zq_lua_flush_output();
    std::string actual = gCaptured;
    if (!result.success)
    {
        actual += "error: " + result.error + "\n";
    }
    if (result.hasExitCode)
    {
        actual += "exit: " + std::to_string(result.exitCode) + "\n";
    }
    EXPECT_EQ(actual, readFile(expectedPath));
}

std::string testName(const testing::TestParamInfo<std::string>& info)
{
    std::string name = info.param.substr(0, info.param.size() - 4);
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scripts, GoldenScriptTest, testing::ValuesIn(findScripts()), testName);

} // namespace
