# Cross-compiles for the boot environment: a Cortex-M3 (the emulator's mps2-an385 board), bare metal,
# with picolibc as the C library and GCC's libstdc++ built against it. Used by -DVELMAR_LUA_BOOT=ON.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
set(CMAKE_ASM_COMPILER arm-none-eabi-gcc)
set(CMAKE_AR arm-none-eabi-ar)
set(CMAKE_RANLIB arm-none-eabi-ranlib)
set(CMAKE_OBJCOPY arm-none-eabi-objcopy)
set(CMAKE_SIZE arm-none-eabi-size)

# There is nothing to run a test program on while configuring.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(VELMAR_BOOT_CPU_FLAGS "-mcpu=cortex-m3 -mthumb --specs=picolibcpp.specs")
set(CMAKE_C_FLAGS_INIT "${VELMAR_BOOT_CPU_FLAGS} -ffunction-sections -fdata-sections")
set(CMAKE_CXX_FLAGS_INIT "${VELMAR_BOOT_CPU_FLAGS} -ffunction-sections -fdata-sections")
set(CMAKE_ASM_FLAGS_INIT "${VELMAR_BOOT_CPU_FLAGS}")
# The compile flags (and so the specs) reach the link line already.

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
