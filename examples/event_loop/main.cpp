// An event-loop host: the script registers handlers for named events and sets timers; the host keeps
// the handlers and calls them as events arrive. A failing handler is reported and the loop goes on.
#include <velmar/lua/LuaVM.hpp>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

using velmar::lua::LuaError;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

namespace
{

struct Timer
{
    long long due;
    LuaValue handler;
};

const char* const kScript = R"lua(
local count = 0
on("message", function(text)
    count = count + 1
    if text == "" then error("empty message") end
    return "got " .. text .. " (" .. count .. ")"
end)
on("stop", function() return "stopping after " .. count .. " messages" end)
after(2, function(now) return "timer at " .. now end)
)lua";

} // namespace

int main()
{
    LuaVM vm;
    vm.setStepLimit(100000); // a runaway handler fails instead of hanging the loop
    std::map<std::string, LuaValue> handlers;
    std::vector<Timer> timers;
    long long now = 0;

    vm.bindFunction("on", [&handlers](LuaVM&, const std::vector<LuaValue>& args) {
        if (args.size() != 2 || args[0].type() != LuaValue::Type::String ||
            args[1].type() != LuaValue::Type::Function)
        {
            throw LuaError("expected on(event, function)");
        }
        handlers[args[0].asString()] = args[1];
        return LuaValue();
    });
    vm.bindFunction("after", [&timers, &now](LuaVM&, const std::vector<LuaValue>& args) {
        if (args.size() != 2 || args[0].type() != LuaValue::Type::Integer ||
            args[1].type() != LuaValue::Type::Function)
        {
            throw LuaError("expected after(ticks, function)");
        }
        timers.push_back({now + args[0].asInteger(), args[1]});
        return LuaValue();
    });

    const LuaResult setup = vm.runScriptString(kScript, "handlers.lua");
    if (!setup.success)
    {
        std::fprintf(stderr, "%s\n", setup.error.c_str());
        return 1;
    }

    const std::vector<std::pair<std::string, std::string>> events = {
        {"message", "hello"}, {"message", ""}, {"unknown", "x"}, {"message", "bye"}, {"stop", ""}};
    for (const auto& [name, payload] : events)
    {
        ++now;
        for (auto timer = timers.begin(); timer != timers.end();)
        {
            if (timer->due > now)
            {
                ++timer;
                continue;
            }
            const LuaResult fired = vm.call(timer->handler, {LuaValue(now)});
            std::printf("%s\n", fired.success ? fired.value.toString().c_str() : fired.error.c_str());
            timer = timers.erase(timer);
        }
        const auto handler = handlers.find(name);
        if (handler == handlers.end())
        {
            std::printf("no handler for %s\n", name.c_str());
            continue;
        }
        const LuaResult result = vm.call(handler->second, {LuaValue(payload)});
        std::printf("%s\n", result.success ? result.value.toString().c_str() : result.error.c_str());
    }
    return 0;
}
