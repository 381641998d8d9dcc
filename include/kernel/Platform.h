#pragma once
// The framework layer the library is written against: scalar names,
// strings, rectangles, run-time classes, exceptions, files and archives,
// synchronisation, global memory, bitmap records and palettes, arrays,
// dates and times, currency, GUIDs, font records and double-precision geometry.
#include <kernel/WinTypes.h>
#include <kernel/CString.h>
#include <kernel/CRect.h>
#include <kernel/Exceptions.h>
#include <kernel/CObject.h>
#include <kernel/CArray.h>
#include <kernel/CFile.h>
#include <kernel/CArchive.h>
#include <kernel/Sync.h>
#include <kernel/GlobalMemory.h>
#include <kernel/Gdi.h>
#include <kernel/CTime.h>
#include <kernel/COleDateTime.h>
#include <kernel/ValueTypes.h>
#include <kernel/LogFont.h>
