// SPDX-License-Identifier: MIT
// The DLL's entry point. The library has no state of its own, so there is nothing to set up
// for a process or a thread.
#include "platform.h"

extern "C" BOOL WINAPI DllEntry(HINSTANCE instance, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI DllEntry(HINSTANCE /*instance*/, DWORD /*reason*/, LPVOID /*reserved*/) {
  return TRUE;
}
