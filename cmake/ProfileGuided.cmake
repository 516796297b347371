# Profile-guided optimisation of the library (GCC). VELMAR_LUA_PGO=ON builds an instrumented copy of
# velmarlua in pgo-training/, runs every program in bench/programs through it, and compiles the library
# with the profile it leaves in pgo-profile/. Object paths are taken relative to each build directory
# (-fprofile-prefix-path), so the two builds name their profiles alike. The benchmark targets are
# measured without it.
option(VELMAR_LUA_PGO "Optimise the library with a profile of the bench/ programs (GCC only)" OFF)
set(VELMAR_LUA_PGO_GENERATE "" CACHE PATH "Internal: the instrumented build of VELMAR_LUA_PGO writes its profile here")

if(VELMAR_LUA_PGO_GENERATE)
    target_compile_options(VelmarLuaObjects PRIVATE -fprofile-generate=${VELMAR_LUA_PGO_GENERATE}
        -fprofile-prefix-path=${CMAKE_BINARY_DIR} -fprofile-update=single)
    target_link_options(VelmarLua PRIVATE -fprofile-generate)
    target_link_options(velmarlua PRIVATE -fprofile-generate)
elseif(VELMAR_LUA_PGO)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        message(FATAL_ERROR "VELMAR_LUA_PGO needs GCC")
    endif()
    include(ExternalProject)
    set(VELMAR_PGO_PROFILE ${CMAKE_BINARY_DIR}/pgo-profile)
    set(VELMAR_PGO_TRAINING ${CMAKE_BINARY_DIR}/pgo-training)
    ExternalProject_Add(velmar_pgo_training
        SOURCE_DIR ${PROJECT_SOURCE_DIR}
        BINARY_DIR ${VELMAR_PGO_TRAINING}
        CMAKE_ARGS -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
            -DVELMAR_LUA_BUILD_TESTS=OFF -DVELMAR_LUA_PGO=OFF -DVELMAR_LUA_PGO_GENERATE=${VELMAR_PGO_PROFILE}
        BUILD_COMMAND ${CMAKE_COMMAND} --build ${VELMAR_PGO_TRAINING} --target velmarlua
        INSTALL_COMMAND ${CMAKE_COMMAND} -DVELMARLUA=${VELMAR_PGO_TRAINING}/cli/velmarlua
            -DPROGRAMS=${PROJECT_SOURCE_DIR}/bench/programs -DPROFILE=${VELMAR_PGO_PROFILE}
            -P ${PROJECT_SOURCE_DIR}/cmake/ProfileTraining.cmake)
    target_compile_options(VelmarLuaObjects PRIVATE -fprofile-use=${VELMAR_PGO_PROFILE}
        -fprofile-prefix-path=${CMAKE_BINARY_DIR} -fprofile-partial-training -Wno-missing-profile)
    add_dependencies(VelmarLuaObjects velmar_pgo_training)
endif()
