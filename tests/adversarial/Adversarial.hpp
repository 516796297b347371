// Shared helpers for the adversarial tests: runs through the public API, console capture, small threads.
#pragma once

#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <gtest/gtest.h>

#include <pthread.h>

#include <cstddef>
#include <functional>
#include <regex>
#include <string>

// Sanitizer builds have bigger frames and no way to survive a failed operator new; some cases adapt.
#if defined(__SANITIZE_ADDRESS__)
#define VELMAR_ADVERSARIAL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMAR_ADVERSARIAL_ASAN 1
#endif
#endif
#ifndef VELMAR_ADVERSARIAL_ASAN
#define VELMAR_ADVERSARIAL_ASAN 0
#endif

namespace adversarial
{

using velmar::lua::LuaBytecode;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

inline std::string& capturedLines()
{
    static std::string lines;
    return lines;
}

// Installs a host table whose console appends each line to capturedLines() while the object lives.
class CapturedConsole
{
public:
    CapturedConsole()
    {
        api_ = *zq_desktop_program_api();
        api_.write_line = [](const char* text) {
            capturedLines() += text;
            capturedLines() += '\n';
            return 1;
        };
        previous_ = zq_set_program_api(&api_);
        capturedLines().clear();
    }
    ~CapturedConsole()
    {
        zq_lua_flush_output();
        zq_set_program_api(previous_);
    }
    CapturedConsole(const CapturedConsole&) = delete;
    CapturedConsole& operator=(const CapturedConsole&) = delete;

    std::string lines()
    {
        zq_lua_flush_output();
        return capturedLines();
    }

private:
    zq_program_api api_{};
    const zq_program_api* previous_ = nullptr;
};

inline LuaResult run(LuaVM& vm, const std::string& source)
{
    return vm.runScriptString(source, "main.lua");
}

// Runs `body` on a thread whose stack is `stackSize` bytes, as a host with small threads would.
inline void runOnThread(std::size_t stackSize, const std::function<void()>& body)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_t thread;
    auto trampoline = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    const int created = pthread_create(&thread, &attributes, trampoline, const_cast<std::function<void()>*>(&body));
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(created, 0);
    pthread_join(thread, nullptr);
}

constexpr std::size_t kSmallHostStack = std::size_t{1} << 20;

// A failed run whose message matches `pattern` as a whole (ECMAScript syntax).
inline testing::AssertionResult failsWith(const LuaResult& result, const std::string& pattern)
{
    if (result.success)
    {
        return testing::AssertionFailure() << "the run succeeded with " << result.value.toString();
    }
    if (!std::regex_match(result.error, std::regex(pattern)))
    {
        return testing::AssertionFailure() << "error \"" << result.error << "\" does not match /" << pattern << "/";
    }
    return testing::AssertionSuccess();
}

// "=" and the value of a successful run, or the message of a failed one: one string to compare.
inline std::string describe(const LuaResult& result)
{
    if (!result.success)
    {
        return result.error;
    }
    std::string text = "=";
    text += result.value.toString();
    return text;
}

// `text` repeated `count` times.
inline std::string repeat(const std::string& text, std::size_t count)
{
    std::string out;
    out.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i)
    {
        out += text;
    }
    return out;
}

} // namespace adversarial
