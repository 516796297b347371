// Marks the symbols that the VelmarLua shared library exports; everything else stays hidden.
#pragma once

#if defined(VELMAR_LUA_STATIC)
#define VELMAR_LUA_API
#else
#define VELMAR_LUA_API __attribute__((visibility("default")))
#endif
