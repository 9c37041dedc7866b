// The system's headers in the one order that works, without the macros that would rename what is ours.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
// after it, or it is the older one
#include <windows.h>

#undef GetMessage
#undef OpenService
#undef SetCurrentDirectory
#undef Yield
