// The standard library's entry points: one binder per library, called by bindDefaults in order.
#pragma once

#include "runtime/Interpreter.hpp"

namespace velmar::lua
{

void bindBaseLibrary(LuaVM::Impl& vm);
void bindStringLibrary(LuaVM::Impl& vm);
void bindTableLibrary(LuaVM::Impl& vm);
void bindMathLibrary(LuaVM::Impl& vm);
void bindIoLibrary(LuaVM::Impl& vm);
void bindOsLibrary(LuaVM::Impl& vm);

// A fresh library table stored as the global `name`.
Ref<Table> makeLibraryTable(LuaVM::Impl& vm, const char* name);

} // namespace velmar::lua
