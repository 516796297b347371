// Loading scripts the way the command line does, and showing messages safely. Reading files and
// standard input is the platform's job (ScriptFiles.cpp on the desktop).
#pragma once

#include <velmar/lua/LuaVM.hpp>

#include <string>
#include <string_view>

namespace velmar::cli
{

// Reads a whole script file. On failure `error` reads "cannot open NAME (reason)" or
// "cannot read NAME (reason)", the reason as the system gives it.
bool readScriptFile(const std::string& path, std::string& text, std::string& error);

// Reads a whole script file through the host table's files, as scripts' own io does: under a
// confinement (--confine) dofile reaches only what io.open reaches. Errors read as readScriptFile's.
bool readHostScriptFile(const std::string& path, std::string& text, std::string& error);

// Reads all of standard input; on failure `error` reads "cannot read stdin (reason)".
bool readStandardInput(std::string& text, std::string& error);

// True when `path` names a regular file.
bool isRegularFile(const std::string& path);

// Runs loaded bytes: a container file by its magic, otherwise source text after skipCommentLine, under
// `chunkName`.
velmar::lua::LuaResult runLoadedScript(velmar::lua::LuaVM& vm, std::string text, const std::string& chunkName);

// Drops a leading UTF-8 byte-order mark, then a first line that starts with '#', keeping its line feed so
// that line numbers stay.
void skipCommentLine(std::string& text);

// The message with control bytes (other than tab and line feed), DEL and bytes that do not belong to valid
// UTF-8 written as \DDD in decimal, so that it cannot disturb a terminal or be cut short by a zero byte.
std::string printable(std::string_view message);

} // namespace velmar::cli
