// Separate interpreters on separate threads at once, as a server host runs them. Built both normally
// and under ThreadSanitizer, which reports any data race between them (the shared state that once was
// process-wide: console line buffer, protected-call depth, file error code, clock counter, host table).
#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace
{

using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

std::mutex gLinesMutex;
std::vector<std::string> gLines;

int collectLine(const char* text)
{
    std::lock_guard lock(gLinesMutex);
    gLines.emplace_back(text);
    return 1;
}

// Each thread prints lines of several pieces, raises and catches errors at several pcall depths, fails
// to open files, makes garbage cycles and works under its own step and memory limits.
const char* const kScript = R"(
local id = tag
local count = 0
for i = 1, 200 do
  print(id, "line", i, "of", id)
  local ok, message = pcall(function()
    local inner, text = pcall(error, "inner " .. i)
    assert(not inner and text == "inner " .. i)
    error("outer " .. i)
  end)
  assert(not ok and message == "outer " .. i)
  local f, why = io.open("velmar-missing-" .. id .. "/nothing.txt")
  assert(f == nil and why == "failed to open file: velmar-missing-" .. id .. "/nothing.txt")
  local t = {i} t.self = t
  local parts = {}
  for k = 1, 50 do parts[k] = tostring(k * i) end
  table.sort(parts)
  count = count + #table.concat(parts, ",")
end
error("done " .. count)
)";

} // namespace

int main()
{
    zq_program_api collecting = *zq_desktop_program_api();
    collecting.write_line = collectLine;
    zq_set_program_api(&collecting);

    constexpr int kThreads = 4;
    std::vector<std::string> outcomes(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back([t, &outcomes] {
            LuaVM vm;
            vm.setStepLimit(10000000);
            vm.setMemoryLimit(64u << 20);
            std::string tag = "T";
            tag += std::to_string(t);
            vm.setGlobal("tag", LuaValue(tag));
            const LuaResult result = vm.runScriptString(kScript, "thread.lua");
            outcomes[static_cast<std::size_t>(t)] = result.error;
        });
    }
    // Meanwhile this thread swaps the host table back and forth: an atomic exchange, never torn.
    for (int i = 0; i < 200; ++i)
    {
        zq_set_program_api(&collecting);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    zq_set_program_api(nullptr);

    int failures = 0;
    for (int t = 0; t < kThreads; ++t)
    {
        const std::string expected = "thread.lua:20: done ";
        if (outcomes[static_cast<std::size_t>(t)].rfind(expected, 0) != 0)
        {
            std::fprintf(stderr, "thread %d: %s\n", t, outcomes[static_cast<std::size_t>(t)].c_str());
            ++failures;
        }
    }
    // Every line arrived whole and in its thread's order: no piece ended up in another thread's line.
    std::map<std::string, int> perThread;
    for (const std::string& line : gLines)
    {
        const std::string id = line.substr(0, line.find('\t'));
        const int next = ++perThread[id];
        std::string expected = id;
        expected += "\tline\t";
        expected += std::to_string(next);
        expected += "\tof\t";
        expected += id;
        if (line != expected)
        {
            std::fprintf(stderr, "torn line: %s\n", line.c_str());
            ++failures;
        }
    }
    for (int t = 0; t < kThreads; ++t)
    {
        std::string id = "T";
        id += std::to_string(t);
        if (perThread[id] != 200)
        {
            std::fprintf(stderr, "thread %d wrote %d lines\n", t, perThread[id]);
            ++failures;
        }
    }
    std::printf("%d passed, %d failed\n", failures == 0 ? 1 : 0, failures == 0 ? 0 : 1);
    return failures == 0 ? 0 : 1;
}
