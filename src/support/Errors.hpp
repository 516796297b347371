// The library's error family: every error raised inside VelmarLua derives from zq::exception.
#pragma once

#include "velmar/lua/LuaError.hpp"

#include <string>

namespace zq
{

// Base of the library's internal errors; a public LuaError underneath, so a host catches them all as one
// family. what() carries the message, message() the same bytes including any NUL.
class exception : public velmar::lua::LuaError
{
public:
    using LuaError::LuaError;
};

// The plain runtime error: syntax errors, value accessors, containers and library misuse.
class runtime_error : public exception
{
public:
    using exception::exception;
};

} // namespace zq
