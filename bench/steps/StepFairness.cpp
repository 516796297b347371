// Step fairness: how much CPU time one step of the step limit can buy, construct by construct, and how
// long an interrupt takes to stop each of them.
//
// Each construct is a setup chunk (run without limits) and a loop body. The body runs in
// `while true do BODY end` under a step limit L; the run ends with "step limit exceeded" after exactly L
// steps, so its thread CPU time divided by L is the cost of one step. L doubles until a run takes long
// enough to time. Then the same loop runs without a limit and another thread interrupts it; the CPU
// time the run's thread spends from interrupt() to the run's return is the latency.
#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <string>
#include <thread>
#include <vector>

namespace
{

using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

struct Construct
{
    const char* name;
    const char* setup;
    const char* body;
};

// Large sizes on purpose: a construct is only hostile when one step would otherwise hide much work.
const Construct kConstructs[] = {
    {"loop step (reference)", "x = 0", "x = x + 1"},
    {"sort 1e6 numbers", "t = {} for i = 1, 1000000 do t[i] = (i * 7919) % 1000003 end", "table.sort(t)"},
    {"sort 1e6 strings", "t = {} for i = 1, 1000000 do t[i] = tostring((i * 7919) % 1000003) end", "table.sort(t)"},
    {"sort mixed (insertion)", "t = {} for i = 1, 3000 do t[i] = (i % 2 == 0) and i or tostring(-i) end",
     "table.sort(t)"},
    {"sort long equal prefixes", "p = string.rep('x', 100000) t = {} for i = 1, 200 do t[i] = p .. (i * 7 % 200) end",
     "table.sort(t)"},
    {"sort with comparator", "t = {} for i = 1, 100000 do t[i] = i end", "table.sort(t, function(a, b) return a > b end)"},
    {"tostring 10 MB string", "s = string.rep('x', 10000000)", "local u = tostring(s)"},
    {"print 1e6-element table", "t = {} for i = 1, 1000000 do t[i] = i end", "print(t)"},
    {"print 10 MB string", "s = string.rep('x', 10000000)", "print(s)"},
    {"host function, 1e6-element table", "t = {} for i = 1, 1000000 do t[i] = i end", "noop(t)"},
    {"tonumber 1e6 digits", "s = string.rep('1', 1000000)", "local n = tonumber(s)"},
    {"tonumber 1e6 blanks", "s = string.rep(' ', 1000000) .. 'x'", "local n = tonumber(s)"},
    {"tonumber 1e6 fraction digits", "s = '0.' .. string.rep('1', 1000000)", "local n = tonumber(s)"},
    {"tonumber 100 MB digits", "s = string.rep('1', 100000000)", "local n = tonumber(s)"},
    {"string.unpack 250k fields", "f = string.rep('I4', 250000) d = string.rep('abcd', 250000)",
     "local a = string.unpack(f, d)"},
    {"string.unpack 1e6 blanks", "f = string.rep(' ', 1000000) d = ''", "local a = string.unpack(f, d)"},
    {"table.concat 1e6 short parts", "t = {} for i = 1, 1000000 do t[i] = 'a' end", "local s = table.concat(t)"},
    {"table.concat 1e6 empty parts", "t = {} for i = 1, 1000000 do t[i] = '' end", "local s = table.concat(t)"},
    {"table.remove front of 1e6", "t = {} for i = 1, 1000000 do t[i] = i end", "table.remove(t, 1) t[#t + 1] = 1"},
    {"compare equal 10 MB strings", "a = string.rep('x', 10000000) b = string.rep('x', 10000000)", "local r = a == b"},
    {"order 10 MB strings", "a = string.rep('x', 10000000) b = string.rep('x', 10000000)", "local r = a < b"},
    {"pcall error 10 MB message", "s = string.rep('x', 10000000)", "pcall(error, s)"},
    {"pcall assert 10 MB message", "s = string.rep('x', 10000000)", "pcall(assert, false, s)"},
    {"pairs over 1e6 nils", "t = {} for i = 1, 1000000 do t[i] = i end for i = 1, 999999 do t[i] = nil end",
     "for k in pairs(t) do end"},
    {"hash delete in 1e6 keys", "t = {} for i = 1, 1000000 do t['k' .. i] = i end", "t.x = 1 t.x = nil"},
    {"pairs over deleted keys",
     "t = {} for i = 1, 1000000 do t['k' .. i] = i end for i = 1, 999999 do t['k' .. i] = nil end",
     "for k in pairs(t) do end"},
    {"length through hash run", "t = {} for i = 1000000, 66, -1 do t[i] = i end for i = 1, 65 do t[i] = i end",
     "t[1] = 1 local n = #t"},
    {"array border rescan", "t = {} for i = 1, 1000000 do t[i] = i end", "t[1] = nil t[1] = 1"},
    {"gmatch 1e6 matches", "s = string.rep('a', 1000000)", "for w in string.gmatch(s, 'a') do break end"},
    {"gsub 1e6 replacements", "s = string.rep('a', 1000000)", "local r = string.gsub(s, 'a', 'bb')"},
    {"find backtracking", "s = string.rep('a', 20000)", "local r = string.find(s, 'a*a*b')"},
    {"find plain long needle", "s = string.rep('a', 1000000) n = string.rep('a', 1000) .. 'b'",
     "local r = string.find(s, n, 1, true)"},
    {"string.rep 10 MB", "", "local s = string.rep('x', 10000000)"},
    {"concat 10 MB", "s = string.rep('x', 5000000)", "local u = s .. s"},
    {"string.format 10 MB", "s = string.rep('x', 10000000)", "local u = string.format('%s', s)"},
    {"string.sub 10 MB", "s = string.rep('x', 10000001)", "local u = string.sub(s, 2)"},
    {"io.write 10 MB", "s = string.rep('x', 10000000)", "io.write(s)"},
    {"file write 10 MB", "f = io.open('velmar-steps.tmp', 'w') s = string.rep('x', 10000000)",
     "f:seek('set', 0) f:write(s)"},
    {"file write far past the end", "f = io.open('velmar-steps.tmp', 'w')", "f:seek('set', 100000000) f:write('x')"},
    {"file read 10 MB", "f = io.open('velmar-steps.tmp', 'w') f:write(string.rep('x', 10000000)) f:close()"
                        " f = io.open('velmar-steps.tmp', 'r')",
     "f:seek('set', 0) local s = f:read('*a')"},
    {"file open and close 10 MB", "f = io.open('velmar-steps.tmp', 'w') f:write(string.rep('x', 10000000)) f:close()",
     "local g = io.open('velmar-steps.tmp', 'a') g:close()"},
};

// Constructs whose size is in the source itself: the evaluator's own paths over many nodes.
struct Generated
{
    std::string name;
    std::string setup;
    std::string body;
};

std::string repeatJoined(const std::string& item, const std::string& separator, int count)
{
    std::string out;
    for (int i = 0; i < count; ++i)
    {
        out += i == 0 ? "" : separator;
        out += item;
    }
    return out;
}

// "p1, p2, ..., pN"
std::string numberedNames(const std::string& prefix, int count)
{
    std::string out;
    for (int i = 1; i <= count; ++i)
    {
        out += (i == 1 ? "" : ", ") + prefix + std::to_string(i);
    }
    return out;
}

std::vector<Generated> generatedConstructs()
{
    const std::string ones = repeatJoined("1", ",", 10000);
    return {
        {"call with 10,000 arguments", "", "local r = math.max(" + ones + ")"},
        {"script call with 10,000 arguments", "function f() end", "f(" + ones + ")"},
        {"host call with 10,000 arguments", "", "noop(" + ones + ")"},
        {"call of 10,000 parameters", "function f(" + numberedNames("p", 10000) + ") end", "f()"},
        {"return of 10,000 values", "function f() return " + ones + " end", "local r = f()"},
        {"local statement of 10,000 names", "", "local " + numberedNames("v", 10000) + " = 1"},
        {"assert returning 10,000 values", "", "local r = assert(" + repeatJoined("1", ",", 10000) + ")"},
        {"table constructor of 10,000 items", "", "local t = {" + repeatJoined("1", ",", 10000) + "}"},
        {"concatenation chain of 2,000 pieces", "", "local s = " + repeatJoined("'abcdefgh'", " .. ", 2000)},
        {"index with a fresh 1 MB key", "t = {} s = string.rep('k', 1000000) t[s] = 1", "local v = t[s .. '']"},
    };
}

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

int discardLine(const char*)
{
    return 1;
}

LuaVM makeVm(const Construct& construct, bool& ok)
{
    LuaVM vm;
    vm.bindFunction("noop", [](LuaVM&, const std::vector<LuaValue>&) { return LuaValue(); });
    const LuaResult setup = vm.runScriptString(construct.setup, "setup");
    ok = setup.success;
    if (!ok)
    {
        std::fprintf(stderr, "%s: setup failed: %s\n", construct.name, setup.error.c_str());
    }
    return vm;
}

struct Measure
{
    double nsPerStep = 0;
    double interruptMs = 0;
    std::string outcome;
};

Measure measure(const Construct& construct, double minimumSeconds);

void report(const char* name, const Measure& m, double& worst, std::string& worstName, double& worstLatency,
            std::string& worstLatencyName, int& failures)
{
    if (m.outcome != "ok")
    {
        std::printf("| %s | %s | |\n", name, m.outcome.c_str());
        ++failures;
        return;
    }
    std::printf("| %s | %.0f | %.2f |\n", name, m.nsPerStep, m.interruptMs);
    std::fflush(stdout);
    if (m.nsPerStep > worst)
    {
        worst = m.nsPerStep;
        worstName = name;
    }
    if (m.interruptMs > worstLatency)
    {
        worstLatency = m.interruptMs;
        worstLatencyName = name;
    }
}

Measure measure(const Construct& construct, double minimumSeconds)
{
    Measure out;
    const std::string loop = std::string("while true do ") + construct.body + " end";
    bool ok = false;
    LuaVM vm = makeVm(construct, ok);
    if (!ok)
    {
        out.outcome = "setup failed";
        return out;
    }
    for (std::uint64_t limit = 16;; limit *= 2)
    {
        vm.setStepLimit(limit);
        const double start = threadCpuSeconds();
        const LuaResult result = vm.runScriptString(loop, "loop");
        const double seconds = threadCpuSeconds() - start;
        if (result.success || result.error.find("step limit exceeded") == std::string::npos)
        {
            out.outcome = result.success ? "ended" : result.error;
            return out;
        }
        if (seconds >= minimumSeconds || limit >= (1ULL << 40))
        {
            out.nsPerStep = seconds * 1e9 / static_cast<double>(limit);
            break;
        }
    }
    // Interrupt latency: the worst of a few interrupts at different moments of the loop, as the CPU time
    // the run's thread spends from the interrupt to the run's return (wall time would mostly measure how
    // long the thread waits for a core on a busy machine).
    vm.setStepLimit(0);
    clockid_t runner{};
    pthread_getcpuclockid(pthread_self(), &runner);
    for (int delayMs : {20, 37, 61})
    {
        timespec sent{};
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            clock_gettime(runner, &sent);
            vm.interrupt();
        });
        const LuaResult result = vm.runScriptString(loop, "loop");
        timespec returned{};
        clock_gettime(runner, &returned);
        stopper.join();
        if (result.success || result.error.find("interrupted") == std::string::npos)
        {
            out.outcome = "interrupt: " + (result.success ? std::string("ended") : result.error);
            return out;
        }
        const double ms = static_cast<double>(returned.tv_sec - sent.tv_sec) * 1e3 +
                          static_cast<double>(returned.tv_nsec - sent.tv_nsec) * 1e-6;
        out.interruptMs = std::max(out.interruptMs, ms);
    }
    out.outcome = "ok";
    return out;
}

} // namespace

int main(int argc, char** argv)
{
    zq_program_api silent = *zq_desktop_program_api();
    silent.write_line = discardLine; // print and io.write go nowhere
    zq_set_program_api(&silent);
    double minimumSeconds = 0.2;
    std::vector<std::string> only;
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--quick") == 0)
        {
            minimumSeconds = 0.02;
        }
        else
        {
            only.emplace_back(argv[i]);
        }
    }
    std::printf("| construct | ns per step | interrupt latency (CPU ms) |\n|---|---:|---:|\n");
    double worst = 0;
    std::string worstName;
    double worstLatency = 0;
    std::string worstLatencyName;
    int failures = 0;
    const auto wanted = [&](const std::string& name) {
        return only.empty() || std::any_of(only.begin(), only.end(),
                                           [&](const std::string& word) { return name.find(word) != std::string::npos; });
    };
    for (const Construct& construct : kConstructs)
    {
        if (wanted(construct.name))
        {
            report(construct.name, measure(construct, minimumSeconds), worst, worstName, worstLatency,
                   worstLatencyName, failures);
        }
    }
    const std::vector<Generated> generated = generatedConstructs();
    for (const Generated& construct : generated)
    {
        if (wanted(construct.name))
        {
            const Construct view{construct.name.c_str(), construct.setup.c_str(), construct.body.c_str()};
            report(view.name, measure(view, minimumSeconds), worst, worstName, worstLatency, worstLatencyName,
                   failures);
        }
    }
    std::remove("velmar-steps.tmp");
    std::printf("\nworst: %.0f ns per step (%s); worst interrupt latency: %.2f ms (%s)\n", worst, worstName.c_str(),
                worstLatency, worstLatencyName.c_str());
    return failures == 0 ? 0 : 1;
}
