# SPDX-License-Identifier: MIT
# The device: 32-bit ARM instructions for cores from ARMv5 on, no operating system as far
# as the compiler knows. cmake/device/device.cmake makes the DLL of what it compiles.
#
# ARMv5T, not v5TE: the latter's doubleword moves want 8-byte alignment, which the device's
# calling convention doesn't promise. wchar_t has 16 bits there.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_ASM_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(JPG_DEVICE gcc)
set(JPG_DEVICE_CORES armv5)
set(flags "-march=armv5t -marm -mno-thumb-interwork -mfloat-abi=soft -ffreestanding -fshort-wchar")
set(CMAKE_ASM_FLAGS_INIT "-march=armv5t -marm")
string(APPEND flags " -fno-pic -fno-pie -fno-plt -fno-unwind-tables -fno-stack-protector")
set(CMAKE_C_FLAGS_INIT "${flags}")
set(CMAKE_CXX_FLAGS_INIT "${flags}")
