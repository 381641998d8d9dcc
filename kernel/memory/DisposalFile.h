#pragma once
// Disposal files and the disposal folder, private to the memory subsystem.
//
// A flushed block's file holds its bytes inverted and nothing else. The file
// is created fresh every time with mode 0600 and never through an existing
// directory entry, so whoever else can write to the disposal folder cannot
// make the library write into (or truncate) another file by planting a link
// at a block's name.
#include <kernel/CString.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Kernel {
namespace DisposalFile {

// The disposal folder, process-wide. Kept outside the memory manager so that
// blocks destroyed during static destruction can still find their files.
void SetFolder(const CString& folder);
CString GetFolder();
bool HasFolder();

// The name of a block's file: folder + '/' + low 32 bits of the address in
// lowercase hexadecimal + ".dat".
CString WideName(const void* block);
std::string Utf8Name(const void* block);

// Bitwise NOT of n bytes in place.
void Invert(unsigned char* bytes, size_t n);

// Writes size bytes, inverted, to a new file at path. The buffer is inverted
// in place while it is written; on failure it is inverted back, the partial
// file is removed and false is returned.
bool Write(const std::string& path, unsigned char* data, uint64_t size);

// Reads up to size bytes from the file at path into buffer, inverting them
// back, then deletes the file. Returns the number of bytes read, or -1 when
// there is no such regular file.
int64_t Read(const std::string& path, unsigned char* buffer, uint64_t size);

void Remove(const std::string& path);

}  // namespace DisposalFile
}  // namespace Kernel
