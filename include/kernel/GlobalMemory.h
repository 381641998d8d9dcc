#pragma once
// Global memory handles over the process heap, so that code written for the
// Windows global-memory functions (packed bitmaps, clipboard-style blocks)
// runs unchanged. A handle is the address of the block's bytes; GlobalLock
// returns that address and counts locks, GlobalReAlloc may move the block and
// returns its new handle.
#include <cstddef>

#include <kernel/Export.h>
#include <kernel/WinTypes.h>

using HGLOBAL = void*;

constexpr UINT GMEM_FIXED = 0x0000;
constexpr UINT GMEM_MOVEABLE = 0x0002;
constexpr UINT GMEM_NOCOMPACT = 0x0010;
constexpr UINT GMEM_NODISCARD = 0x0020;
constexpr UINT GMEM_ZEROINIT = 0x0040;
constexpr UINT GMEM_MODIFY = 0x0080;
constexpr UINT GMEM_DISCARDABLE = 0x0100;
constexpr UINT GMEM_SHARE = 0x2000;
constexpr UINT GMEM_DDESHARE = 0x2000;
constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;
constexpr UINT GPTR = GMEM_FIXED | GMEM_ZEROINIT;
// Reported by GlobalFlags for a handle that is not a live block.
constexpr UINT GMEM_INVALID_HANDLE = 0x8000;
constexpr UINT GMEM_LOCKCOUNT = 0x00FF;

// A new block of `bytes` bytes (zero-filled with GMEM_ZEROINIT), or nullptr.
NK_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
// Resizes the block; new bytes are zero with GMEM_ZEROINIT. Returns the new
// handle (the old one is then invalid), or nullptr leaving the block as it
// was. With GMEM_MODIFY only the flags change.
NK_API HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags);
// nullptr on success, the handle when it was not a live block.
NK_API HGLOBAL GlobalFree(HGLOBAL mem);
NK_API void* GlobalLock(HGLOBAL mem);
// TRUE while the block is still locked after this call.
NK_API BOOL GlobalUnlock(HGLOBAL mem);
// The size asked for, or 0 for an invalid handle.
NK_API SIZE_T GlobalSize(HGLOBAL mem);
// Lock count in the low byte, plus GMEM_INVALID_HANDLE for a bad handle.
NK_API UINT GlobalFlags(HGLOBAL mem);
// The handle of a block from its locked address.
NK_API HGLOBAL GlobalHandle(const void* mem);
