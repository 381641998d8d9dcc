#pragma once
// Gradients: a position t along a fill (0 at the start, 1 at the end) mapped
// to a colour with opacity.
//
// Values come in fixed point: a channel is value * 128 in 16 bits, so full
// intensity 255 is 32640. A quad fixed value packs red, green, blue and alpha
// into bits 0-15, 16-31, 32-47 and 48-63; a quad byte value packs the rounded
// bytes the same way into 32 bits (red in the low byte).
//
// CGradientSolid is defined by colour stops and opacity stops with a midpoint
// per stop and one smoothness for the whole gradient; CGradientSpline by one
// spline per channel. Both are created by name through the class factory
// (Dynamic::CFactoryMap) under "CGradientSolid" and "CGradientSpline";
// "CGradient" is registered too but creates nothing, as the base is abstract.
//
// Gradients are reference counted: hold them in CPtr. Loading one from an
// archive hands it to the archive's pointer map for the length of the
// outermost Persist::CPtrMapsSession, which releases it at the end unless
// someone has taken a reference by then; an object on the stack must
// therefore not be loaded inside an enclosing session. (Without one, an
// unowned gradient survives its own load.) Reading a gradient from a
// property bag hands it to the bag's object holder, which releases it with
// the bag: such a gradient must live on the heap.
#include <kernel/CObject.h>
#include <kernel/Export.h>
#include <kernel/GradientStop.h>
#include <kernel/PropHandler.h>
#include <kernel/RefCount.h>
#include <kernel/Spline.h>

#include <cstdint>

class CArchive;
class IClassProperty;

namespace Kernel {

class NK_API CGradient : public CObject, public CRefCount, public IPropHandler {
  DECLARE_DYNAMIC(CGradient)

 public:
  static constexpr int s_nSchema = 10;
  // Full intensity of a fixed-point channel (255 * 128).
  static constexpr uint32_t c_fixedOne = 32640;

  // The colour and opacity at t as a quad fixed value.
  virtual uint64_t GetQuadValueFixed(double t) const = 0;
  // One grey level: the colour's luminance composited over white by its
  // opacity, in fixed point. The luminance weights are applied to (blue,
  // green, red), so blue carries 30 % and red 11 % (the long-standing
  // weighting of stored documents' masks, kept on purpose).
  virtual uint16_t GetSingleValueFixed(double t) const;
  // (GetSingleValueFixed(t) + 64) >> 7.
  virtual uint8_t GetSingleValueByte(double t) const;
  // Each fixed channel rounded to a byte ((c + 64) >> 7) and packed.
  virtual uint32_t GetQuadValueDword(double t) const;

  // A new gradient of the same class with equal content, unowned (count 0).
  virtual CGradient* Clone() const = 0;
  // The same, already held (count 1).
  CPtr<CGradient> MakeClone() const;

  // Same class and equal content.
  bool operator==(const CGradient& other) const { return IsEqual(other); }
  bool operator!=(const CGradient& other) const { return !IsEqual(other); }

  // The base part: int32 schema 10, inside the archive's pointer-map session;
  // loading hands this object to the archive's map.
  void Serialize(CArchive& ar) override;
  // The base part writes nothing; reading hands the object to the bag's
  // object holder.
  bool GetProperties(IClassProperty* bag) const override;
  bool SetProperties(IClassProperty* bag) override;

  ~CGradient() override;

 protected:
  CGradient() noexcept;
  CGradient(const CGradient& other) noexcept;
  CGradient& operator=(const CGradient& other) noexcept;

  virtual bool IsEqual(const CGradient& other) const;
};

class NK_API CGradientSolid : public CGradient {
  DECLARE_SERIAL(CGradientSolid)

 public:
  static constexpr int s_nSchema = 11;
  static constexpr int c_defaultSmoothness = 100;

  // No stops, smoothness 100 (the state a loader fills in).
  CGradientSolid();
  // From start (at 0) to end (at 1): the two colours as colour stops and
  // their top bytes as opacity stops, all with midpoint 0.5.
  CGradientSolid(uint32_t start, uint32_t end);
  CGradientSolid(const CGradientSolid& other);
  CGradientSolid& operator=(const CGradientSolid& other);
  ~CGradientSolid() override;

  // Red, green and blue from the colour stops (bytes 0-2 of each value),
  // alpha from the opacity stops (byte 0); an empty opacity list is opaque.
  // Before the first stop and after the last, their values hold. Between
  // two stops the blend is half done at the earlier stop's midpoint, and
  // smoothness s blends the straight ramp towards a sine ease (0: straight,
  // 100: full ease). A later stop wins over an earlier one at the same
  // position. Channels are rounded halves away from zero and kept within
  // 0..32640 (smoothness outside 0..100 can overshoot).
  uint64_t GetQuadValueFixed(double t) const override;
  uint32_t GetRGBValue(double t) const { return GetQuadValueDword(t) & 0xFFFFFFu; }
  uint8_t GetAlphaValue(double t) const { return uint8_t(GetQuadValueDword(t) >> 24); }

  CGradientStopList& GetRGBStops() noexcept { return m_rgb; }
  const CGradientStopList& GetRGBStops() const noexcept { return m_rgb; }
  CGradientStopList& GetAlphaStops() noexcept { return m_alpha; }
  const CGradientStopList& GetAlphaStops() const noexcept { return m_alpha; }
  int GetSmoothness() const noexcept { return m_smoothness; }
  void SetSmoothness(int smoothness) noexcept { m_smoothness = smoothness; }  // no clamp

  CGradient* Clone() const override;
  // Stop lists by CGradientStopList::operator==, smoothness exactly.
  bool operator==(const CGradientSolid& other) const;
  bool operator!=(const CGradientSolid& other) const { return !(*this == other); }

  // int32 schema 11, the base part, colour stops, opacity stops, int32
  // smoothness. A gradient stored under schema 10 predates smoothness: the
  // stored number is read and replaced by 100. Loading replaces the content
  // only once everything has been read.
  void Serialize(CArchive& ar) override;
  // The base part, a child "rgb" with the colour stops, a child "alpha" with
  // the opacity stops, then "smoothness" unless it is 100 (or always when the
  // bag writes defaults). Reading takes each child that is present;
  // a missing "smoothness" becomes 100 when the bag resets missing keys.
  bool GetProperties(IClassProperty* bag) const override;
  bool SetProperties(IClassProperty* bag) override;
  uint64_t Measure() const override;

 protected:
  bool IsEqual(const CGradient& other) const override;

 private:
  CGradientStopList m_rgb;
  CGradientStopList m_alpha;
  int m_smoothness;
};

// Channels shaped by one spline each, red, green, blue and alpha, mapping t
// to a value in 0..255.
class NK_API CGradientSpline : public CGradient {
  DECLARE_SERIAL(CGradientSpline)

 public:
  static constexpr int s_nSchema = 10;
  static constexpr int c_channelCount = 4;

  // Four splines without knots (every channel 0).
  CGradientSpline();
  CGradientSpline(const CGradientSpline& other);
  CGradientSpline& operator=(const CGradientSpline& other);
  ~CGradientSpline() override;

  // Channel i = spline i at t, times 128, rounded halves away from zero and
  // kept within 0..32640 (a NaN value gives 0).
  uint64_t GetQuadValueFixed(double t) const override;
  // The red spline alone by the same rule: no luminance, no opacity.
  uint16_t GetSingleValueFixed(double t) const override;

  // Channel 0 red, 1 green, 2 blue, 3 alpha; another index throws
  // CInvalidArgException.
  CSpline& GetSpline(int channel);
  const CSpline& GetSpline(int channel) const;
  void SetSpline(int channel, const CSpline& spline);

  CGradient* Clone() const override;
  // Channel by channel by CSpline::operator==.
  bool operator==(const CGradientSpline& other) const;
  bool operator!=(const CGradientSpline& other) const { return !(*this == other); }

  // int32 schema 10, the base part, then the four splines in channel order.
  // Loading replaces the splines only once all four have been read.
  void Serialize(CArchive& ar) override;
  // The base part, then one child "_item" per spline in channel order.
  // Reading takes the "_item" children in order, at most four, each into
  // the next spline; splines without a child keep their curves.
  bool GetProperties(IClassProperty* bag) const override;
  bool SetProperties(IClassProperty* bag) override;
  uint64_t Measure() const override;

 protected:
  bool IsEqual(const CGradient& other) const override;

 private:
  CSpline m_splines[c_channelCount];
};

}  // namespace Kernel
