// The library's error family: every error raised inside VelmarLua derives from zq::exception.
#pragma once

#include <exception>
#include <string>

namespace zq
{

// Base of the family; what() carries the message, message() the same bytes including any NUL.
class exception : public std::exception
{
public:
    explicit exception(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& message() const noexcept { return message_; }

private:
    std::string message_;
};

// The plain runtime error: syntax errors, value accessors, containers and library misuse.
class runtime_error : public exception
{
public:
    using exception::exception;
};

} // namespace zq
