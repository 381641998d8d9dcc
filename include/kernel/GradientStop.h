#pragma once
// Gradient stops: a value placed at a position along a gradient, with a
// midpoint that says where between this stop and the next the blend is half
// done; and the ordered list of stops that makes one ramp of a gradient.
//
// A colour stop's value is a 32-bit colour (red in the low byte, the top
// byte kept as given); an opacity stop keeps the opacity in its low byte.
//
// Archive form of a stop (little-endian): int32 schema (10), uint32 value,
// double position, double midpoint. A list: int32 schema (10), int32 count,
// then the stops in list order. Readers accept any schema number.
//
// Property form of a stop: "val" (unsigned), "pos" (double), "half" (double,
// left out while it is 0.5 unless the bag writes defaults). A list writes one
// child "_item" per stop, in order.
#include <kernel/CObject.h>
#include <kernel/Export.h>
#include <kernel/PropHandler.h>

#include <cstdint>
#include <list>

class CArchive;
class IClassProperty;

namespace Kernel {

class NK_API CGradientStop : public CObject {
  DECLARE_SERIAL(CGradientStop)

 public:
  static constexpr int s_nSchema = 10;
  // Midpoints that SetHalfwayPos keeps to: a midpoint at either end would
  // make one half of the blend a step.
  static constexpr double c_minHalfway = 0.01;
  static constexpr double c_maxHalfway = 0.99;

  // Value 0xFF000000, position 0, midpoint 0.5.
  CGradientStop() noexcept;
  CGradientStop(const CGradientStop& other) noexcept;
  // The byte becomes the whole value (upper bytes zero). The value
  // constructors store the midpoint as given, without SetHalfwayPos's clamp,
  // so that stored stops come back exactly.
  CGradientStop(uint8_t value, double pos, double halfway) noexcept;
  CGradientStop(uint32_t value, double pos, double halfway) noexcept;
  CGradientStop& operator=(const CGradientStop& other) noexcept;
  ~CGradientStop() override;

  uint8_t GetByteValue() const noexcept { return static_cast<uint8_t>(m_value); }
  uint32_t GetDwordValue() const noexcept { return m_value; }
  // Replaces the low byte only; the other bytes stay.
  void SetByteValue(uint8_t value) noexcept { m_value = (m_value & 0xFFFFFF00u) | value; }
  void SetDwordValue(uint32_t value) noexcept { m_value = value; }

  double GetPos() const noexcept { return m_pos; }
  void SetPos(double pos) noexcept { m_pos = pos; }  // no clamp
  double GetHalfwayPos() const noexcept { return m_halfway; }
  // Below 0.01 stores 0.01; at or above 0.99 stores 0.99 (NaN stores 0.99).
  void SetHalfwayPos(double halfway) noexcept;

  // Values equal exactly, positions and midpoints within 1e-6 each.
  bool operator==(const CGradientStop& other) const noexcept;
  bool operator!=(const CGradientStop& other) const noexcept { return !(*this == other); }
  void swap(CGradientStop& other) noexcept;

  void Serialize(CArchive& ar) override;
  // Not a property handler of its own (a stop lives inside a list); these
  // read and write the stop's keys in the given bag. Both answer false only
  // for a null bag.
  bool GetProperties(IClassProperty* bag) const;
  bool SetProperties(IClassProperty* bag);

 private:
  uint32_t m_value;
  double m_pos;
  double m_halfway;
};

inline void swap(CGradientStop& a, CGradientStop& b) noexcept { a.swap(b); }

// The stops in the order they were inserted; the list never sorts. The
// gradients read a list as ordered by increasing position, so whoever edits
// one keeps that order. Edit it with the list's own operations.
class NK_API CGradientStopList : public std::list<CGradientStop>, protected CObject, public IPropHandler {
  DECLARE_DYNAMIC(CGradientStopList)

 public:
  static constexpr int s_nSchema = 10;
  // Bytes one stop takes in an archive.
  static constexpr int c_archiveStopSize = 24;

  CGradientStopList();
  CGradientStopList(const CGradientStopList& other);
  CGradientStopList& operator=(const CGradientStopList& other);
  ~CGradientStopList() override;

  // Same count, and stop by stop equal (CGradientStop::operator==): the same
  // stops in another order differ.
  bool operator==(const CGradientStopList& other) const noexcept;
  bool operator!=(const CGradientStopList& other) const noexcept { return !(*this == other); }

  // Loading replaces the whole list, and only once every stop has been read:
  // on an exception the list is as it was. A negative count throws
  // CArchiveException (badIndex); a count larger than the archive's remaining
  // bytes can hold throws (endOfFile) before anything is allocated.
  void Serialize(CArchive& ar) override;
  bool GetProperties(IClassProperty* bag) const override;
  // Empties the list, then appends one stop per "_item" child, in order, each
  // starting from a default stop. False for a null bag or when a child could
  // not be read (its default stop is appended all the same).
  bool SetProperties(IClassProperty* bag) override;
};

}  // namespace Kernel
