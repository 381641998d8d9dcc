// The abstract colour and the colour-mode name table.
#include <kernel/Colour.h>

namespace Kernel {

BaseColour::~BaseColour() = default;

uint32_t BaseColour::GetColour(ColourOrder::Type order) const {
  return order == ColourOrder::Cmyk ? GetCMYK() : GetRGB();
}

bool BaseColour::SameColour(const BaseColour* a, const BaseColour* b) {
  if (a == b) return true;
  if (a == nullptr) return false;
  return a->IsSameColour(b);
}

const wchar_t* const EnumTraits<IColourManager::ColourMode>::c_names[] = {L"RGB", L"CMYK", L""};

}  // namespace Kernel
