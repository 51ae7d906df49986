# SPDX-License-Identifier: MIT
# The device with an ARMv7 core: Thumb-2 instructions. The compiler knows the system's
# object format; cmake/device/device.cmake makes the DLL.
#
# The interface and the platform's operations are declared without the system's headers, so
# the macro that would ask for them is taken back. -mno-movt would leave plain relocations
# alone, but makes this compiler lose an indirection on the way to constant tables.
# -mfpu=none: not every core has the vector unit, which the compiler would use for copies.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET thumbv7-unknown-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET thumbv7-unknown-windows-gnu)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(JPG_DEVICE clang)
set(JPG_DEVICE_CORES armv7)
set(flags "-U_WIN32 -ffreestanding -fshort-wchar -mfpu=none -fno-unwind-tables")
string(APPEND flags " -fno-stack-protector")
set(CMAKE_C_FLAGS_INIT "${flags}")
set(CMAKE_CXX_FLAGS_INIT "${flags}")
