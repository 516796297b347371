# velmarlua's sources that need no operating system; the desktop adds Console.cpp and ScriptFiles.cpp,
# the boot image its own console and script files (boot/).
set(VELMAR_CLI_PORTABLE_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/main.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Options.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Prompt.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Scripts.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Session.cpp
)
