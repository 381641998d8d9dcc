// The exception for unusable colour profiles.
#include <kernel/CMYKMapper.h>

namespace Kernel {

CColourProfileException::CColourProfileException(int cause, const wchar_t* fileName, const wchar_t* reason)
    : CFileException(cause, -1, fileName), m_strReason(reason) {}

CString CColourProfileException::GetMessage() const {
  CString msg(L"Cannot use the colour profile \"");
  msg += m_strFileName;
  msg += L"\": ";
  msg += m_strReason.IsEmpty() ? CString(L"unknown reason") : m_strReason;
  msg += L'.';
  return msg;
}

}  // namespace Kernel
