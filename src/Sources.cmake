# Library sources, listed by folder; adding a file here is a deliberate act.
set(VELMAR_LUA_SRC ${CMAKE_CURRENT_LIST_DIR})

set(VELMAR_LUA_SUPPORT_SOURCES
    ${VELMAR_LUA_SRC}/support/FileErrors.cpp
    ${VELMAR_LUA_SRC}/support/NumberFormat.cpp
    ${VELMAR_LUA_SRC}/support/NumberText.cpp
    ${VELMAR_LUA_SRC}/support/Regex.cpp
    ${VELMAR_LUA_SRC}/support/StackGuard.cpp
)

set(VELMAR_LUA_HOST_SOURCES
    ${VELMAR_LUA_SRC}/host/Console.cpp
    ${VELMAR_LUA_SRC}/host/FileLayer.cpp
    ${VELMAR_LUA_SRC}/host/FileStream.cpp
    ${VELMAR_LUA_SRC}/host/ProgramInterface.cpp
    ${VELMAR_LUA_SRC}/host/SystemServices.cpp
)

# The built-in desktop host table (standard streams, the file system, the C heap); not in the boot build.
set(VELMAR_LUA_DESKTOP_SOURCES
    ${VELMAR_LUA_SRC}/host/DesktopHost.cpp
)

set(VELMAR_LUA_FRONTEND_SOURCES
    ${VELMAR_LUA_SRC}/frontend/Ast.cpp
    ${VELMAR_LUA_SRC}/frontend/Compiler.cpp
    ${VELMAR_LUA_SRC}/frontend/GlobalSlots.cpp
    ${VELMAR_LUA_SRC}/frontend/Lexer.cpp
    ${VELMAR_LUA_SRC}/frontend/Parser.cpp
    ${VELMAR_LUA_SRC}/frontend/Resolver.cpp
    ${VELMAR_LUA_SRC}/frontend/ScopeElision.cpp
)

set(VELMAR_LUA_RUNTIME_SOURCES
    ${VELMAR_LUA_SRC}/runtime/Calls.cpp
    ${VELMAR_LUA_SRC}/runtime/EvaluateExpression.cpp
    ${VELMAR_LUA_SRC}/runtime/Operators.cpp
    ${VELMAR_LUA_SRC}/runtime/ExecuteStatement.cpp
    ${VELMAR_LUA_SRC}/runtime/Iterator.cpp
    ${VELMAR_LUA_SRC}/runtime/Heap.cpp
    ${VELMAR_LUA_SRC}/runtime/Table.cpp
    ${VELMAR_LUA_SRC}/runtime/Value.cpp
    ${VELMAR_LUA_SRC}/runtime/ValueStack.cpp
)

set(VELMAR_LUA_STDLIB_SOURCES
    ${VELMAR_LUA_SRC}/stdlib/BaseLib.cpp
    ${VELMAR_LUA_SRC}/stdlib/Binder.cpp
    ${VELMAR_LUA_SRC}/stdlib/IoLib.cpp
    ${VELMAR_LUA_SRC}/stdlib/MathLib.cpp
    ${VELMAR_LUA_SRC}/stdlib/OsLib.cpp
    ${VELMAR_LUA_SRC}/stdlib/PatternMatch.cpp
    ${VELMAR_LUA_SRC}/stdlib/StringLib.cpp
    ${VELMAR_LUA_SRC}/stdlib/TableLib.cpp
)

set(VELMAR_LUA_API_SOURCES
    ${VELMAR_LUA_SRC}/api/Bridge.cpp
    ${VELMAR_LUA_SRC}/api/Bytecode.cpp
    ${VELMAR_LUA_SRC}/api/HostObjects.cpp
    ${VELMAR_LUA_SRC}/api/LuaValue.cpp
    ${VELMAR_LUA_SRC}/api/LuaVM.cpp
)

set(VELMAR_LUA_SOURCES
    ${VELMAR_LUA_SUPPORT_SOURCES}
    ${VELMAR_LUA_HOST_SOURCES}
    ${VELMAR_LUA_FRONTEND_SOURCES}
    ${VELMAR_LUA_RUNTIME_SOURCES}
    ${VELMAR_LUA_STDLIB_SOURCES}
    ${VELMAR_LUA_API_SOURCES}
)
