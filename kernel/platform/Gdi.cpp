#include <kernel/Gdi.h>

#include <algorithm>

IMPLEMENT_DYNAMIC(CGdiObject, CObject)
IMPLEMENT_DYNAMIC(CPalette, CGdiObject)

CGdiObject::~CGdiObject() = default;

BOOL CGdiObject::DeleteObject() {
  BOOL was = m_bCreated;
  m_bCreated = FALSE;
  return was;
}

CPalette::CPalette() = default;
CPalette::~CPalette() = default;

BOOL CPalette::CreatePalette(const LOGPALETTE* logPalette) {
  if (m_bCreated || !logPalette || logPalette->palNumEntries == 0) return FALSE;
  const PALETTEENTRY* first = logPalette->palPalEntry;
  m_entries.assign(first, first + logPalette->palNumEntries);
  m_bCreated = TRUE;
  return TRUE;
}

BOOL CPalette::DeleteObject() {
  m_entries.clear();
  m_entries.shrink_to_fit();
  return CGdiObject::DeleteObject();
}

int CPalette::GetEntryCount() const { return static_cast<int>(m_entries.size()); }

UINT CPalette::GetPaletteEntries(UINT start, UINT count, PALETTEENTRY* entries) const {
  if (!m_bCreated) return 0;
  if (!entries) return static_cast<UINT>(m_entries.size());
  if (start >= m_entries.size()) return 0;
  UINT n = std::min<UINT>(count, static_cast<UINT>(m_entries.size()) - start);
  std::copy_n(m_entries.begin() + start, n, entries);
  return n;
}

UINT CPalette::SetPaletteEntries(UINT start, UINT count, const PALETTEENTRY* entries) {
  if (!m_bCreated || !entries || start >= m_entries.size()) return 0;
  UINT n = std::min<UINT>(count, static_cast<UINT>(m_entries.size()) - start);
  std::copy_n(entries, n, m_entries.begin() + start);
  return n;
}

BOOL CPalette::ResizePalette(UINT entries) {
  if (!m_bCreated || entries == 0) return FALSE;
  m_entries.resize(entries, PALETTEENTRY{0, 0, 0, 0});
  return TRUE;
}

UINT CPalette::GetNearestPaletteIndex(COLORREF colour) const {
  if (!m_bCreated || m_entries.empty()) return CLR_INVALID;
  int r = GetRValue(colour), g = GetGValue(colour), b = GetBValue(colour);
  UINT best = 0;
  int bestDist = 0x7FFFFFFF;
  for (size_t i = 0; i < m_entries.size(); ++i) {
    int dr = m_entries[i].peRed - r, dg = m_entries[i].peGreen - g, db = m_entries[i].peBlue - b;
    int d = dr * dr + dg * dg + db * db;
    if (d < bestDist) {  // strict: the first of equal distances stays
      bestDist = d;
      best = static_cast<UINT>(i);
      if (d == 0) break;
    }
  }
  return best;
}
