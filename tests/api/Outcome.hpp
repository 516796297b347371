// One string for a whole result, so a test compares one line: the API tests' shared helpers.
#pragma once

#include <velmar/lua/LuaVM.hpp>

#include <string>

namespace testapi
{

// "=" and the run's result value (several results as one array), or "error: " and the message.
inline std::string outcome(const velmar::lua::LuaResult& result)
{
    std::string text = result.success ? "=" : "error: ";
    text += result.success ? result.value.toString() : result.error;
    return text;
}

// "ok: " and every result value separated by spaces, or "error: " and the message.
inline std::string outcomes(const velmar::lua::LuaResult& result)
{
    if (!result.success)
    {
        return "error: " + result.error;
    }
    std::string out = "ok:";
    for (const velmar::lua::LuaValue& value : result.values)
    {
        out += ' ' + value.toString();
    }
    return result.values.empty() ? "ok: " : out;
}

} // namespace testapi
