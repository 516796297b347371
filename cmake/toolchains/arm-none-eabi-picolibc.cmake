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

# picolibc's headers ahead of the compiler's own C library, its libraries (and the libstdc++ built
# against it) for this processor's multilib, and thread-local variables without a runtime lookup.
set(VELMAR_PICOLIBC /usr/lib/picolibc/arm-none-eabi)
set(VELMAR_BOOT_CPU_FLAGS "-mcpu=cortex-m3 -mthumb")
set(VELMAR_BOOT_LIBC_FLAGS "-isystem ${VELMAR_PICOLIBC}/include -ftls-model=local-exec")
set(CMAKE_C_FLAGS_INIT "${VELMAR_BOOT_CPU_FLAGS} ${VELMAR_BOOT_LIBC_FLAGS} -ffunction-sections -fdata-sections")
set(CMAKE_CXX_FLAGS_INIT "${VELMAR_BOOT_CPU_FLAGS} ${VELMAR_BOOT_LIBC_FLAGS} -ffunction-sections -fdata-sections")
set(CMAKE_ASM_FLAGS_INIT "${VELMAR_BOOT_CPU_FLAGS}")
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-L${VELMAR_PICOLIBC}/lib/thumb/v7-m/nofp -L${VELMAR_PICOLIBC}/lib -Wl,--gc-sections")
set(CMAKE_C_STANDARD_LIBRARIES "-Wl,--start-group -lc -lgcc -Wl,--end-group")
set(CMAKE_CXX_STANDARD_LIBRARIES "-Wl,--start-group -lc -lgcc -Wl,--end-group")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
