#pragma once
// The Windows scalar names the library's code is written with, pinned to the
// widths they have on Windows (a Windows `long` is 32 bits, Linux's is 64).
#include <cstddef>
#include <cstdint>

#include <kernel/Export.h>

using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using LONGLONG = int64_t;
using ULONGLONG = uint64_t;
using COLORREF = uint32_t;
using BOOL = int;
using SIZE_T = size_t;
using INT_PTR = intptr_t;
using UINT_PTR = uintptr_t;
using DWORD_PTR = uintptr_t;
using LPVOID = void*;
using LPCVOID = const void*;
using LPCWSTR = const wchar_t*;
using LPWSTR = wchar_t*;
using LPCSTR = const char*;
using LPSTR = char*;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Wait time meaning "no time-out" for the synchronisation objects.
constexpr DWORD INFINITE = 0xFFFFFFFFu;
// Returned by colour functions that cannot answer (no palette, bad input).
constexpr COLORREF CLR_INVALID = 0xFFFFFFFFu;

// Colour values keep red in the low byte, then green, then blue.
constexpr COLORREF RGB(BYTE r, BYTE g, BYTE b) {
  return static_cast<COLORREF>(r) | (static_cast<COLORREF>(g) << 8) | (static_cast<COLORREF>(b) << 16);
}
constexpr BYTE GetRValue(COLORREF c) { return static_cast<BYTE>(c & 0xFF); }
constexpr BYTE GetGValue(COLORREF c) { return static_cast<BYTE>((c >> 8) & 0xFF); }
constexpr BYTE GetBValue(COLORREF c) { return static_cast<BYTE>((c >> 16) & 0xFF); }

constexpr WORD LOWORD(DWORD v) { return static_cast<WORD>(v & 0xFFFF); }
constexpr WORD HIWORD(DWORD v) { return static_cast<WORD>(v >> 16); }
constexpr DWORD MAKELONG(WORD lo, WORD hi) { return static_cast<DWORD>(lo) | (static_cast<DWORD>(hi) << 16); }

// number * numerator / denominator with a 64-bit intermediate, rounded half
// away from zero. Returns -1 when the denominator is 0 or the result does not
// fit in 32 bits, as callers of the Windows function rely on.
NK_API int MulDiv(int number, int numerator, int denominator);
