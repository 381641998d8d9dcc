#pragma once
// A gradient sampled once into a lookup table, so that fills read it per pixel
// with a couple of integer operations instead of evaluating stops and curves.
//
// Positions are 15-bit fixed point: 0 is the start of the gradient, 32768 is
// 1.0 (the largest position read is 32767). Table entries are 8.7 fixed point
// (value * 128, 32640 = 255 = full) and a lookup interpolates linearly between
// the two entries around the position, then rounds to a byte with
// (v + 64) >> 7.
//
// Two kinds of table: a single-value table (one grey value per entry, from
// CGradient::GetSingleValueFixed) built by CreateBytes, and a four-channel
// table (red, green, blue, alpha per entry, from GetQuadValueFixed) built by
// CreateDwords. Each build frees whatever table was there before, so a table
// object holds one kind at a time; lookups of the other kind answer 0.
//
// Before sampling, a position may pass through a bias curve and a gain curve
// (Schlick's rational forms) and may be reversed, so entry 0 holds the
// gradient's end.
#include <cstdint>

#include <kernel/Export.h>

namespace Kernel {

class CGradient;

// Which channels of a gradient CreateDwords and OutputDwords take. A channel
// left out is not read from the gradient: red, green and blue left out are 0,
// alpha left out is full (255), so a colour-only table paints opaque. The
// table's alpha switch (CGradientTable::EnableAlpha(false)) has the same
// effect as leaving Alpha out.
enum class GradMask : uint32_t {
  None = 0,
  Red = 1,
  Green = 2,
  Blue = 4,
  Alpha = 8,
  Colour = Red | Green | Blue,
  All = Red | Green | Blue | Alpha,
};

constexpr GradMask operator|(GradMask a, GradMask b) {
  return static_cast<GradMask>(static_cast<uint32_t>(a) | static_cast<uint32_t>(b));
}
constexpr GradMask operator&(GradMask a, GradMask b) {
  return static_cast<GradMask>(static_cast<uint32_t>(a) & static_cast<uint32_t>(b));
}
constexpr GradMask operator~(GradMask a) { return static_cast<GradMask>(~static_cast<uint32_t>(a) & 15u); }
constexpr bool HasChannel(GradMask mask, GradMask channel) { return (mask & channel) == channel; }

class NK_API CGradientTable {
 public:
  // Position of 1.0; the largest position looked up is c_onePosition - 1.
  static constexpr int c_onePosition = 32768;
  // Full intensity of one 8.7 fixed-point entry.
  static constexpr int c_fullFixed = 32640;
  // Positions carry 15 bits, so more than 2^15 intervals could never be told
  // apart: ModifySize never answers more than 2^15 + 1 entries.
  static constexpr int c_maxShift = 15;

  CGradientTable();
  ~CGradientTable();
  CGradientTable(const CGradientTable& other);
  CGradientTable& operator=(const CGradientTable& other);
  CGradientTable(CGradientTable&& other) noexcept;
  CGradientTable& operator=(CGradientTable&& other) noexcept;

  // The table size used for a requested size n: n with its lowest bit
  // cleared, rounded down to a power of two 2^shift, plus one entry (the
  // right-hand neighbour of the last interval). n below 2 gives 1 (shift 0).
  static int ModifySize(int n, int& shift);

  // --- Curves and direction (apply to the next build) ---------------------
  // Enables the bias when b is not 0.5 (within 1e-6). GetBias answers the
  // stored value, except that a stored 0.0 (also the initial value) reads as
  // 0.5. A bias of 0 or 1 makes the curve's divisor infinite or zero; the
  // curve then leaves positions unchanged.
  void SetBias(double b);
  double GetBias() const;
  // Enables the gain when g is not 0.5 (within 1e-6). GetGain answers 0.5
  // whenever the gain is disabled, whatever was stored: it decides on the
  // switch where GetBias decides on the value.
  void SetGain(double g);
  double GetGain() const;
  bool IsBiasEnabled() const { return m_biasEnabled; }
  bool IsGainEnabled() const { return m_gainEnabled; }
  // The curves on one position; t unchanged when the curve is disabled or
  // its divisor is zero or not finite.
  double DoBias(double t) const;
  double DoGain(double t) const;

  // Alpha is taken from the gradient in four-channel builds only while
  // enabled (the default); disabled, every entry is opaque. Single-value
  // tables always use the gradient's own single value.
  void EnableAlpha(bool enable) { m_alphaEnabled = enable; }
  bool IsAlphaEnabled() const { return m_alphaEnabled; }
  void SetReverse(bool reverse) { m_reversed = reverse; }
  bool IsReversed() const { return m_reversed; }

  // --- Building -----------------------------------------------------------
  // Entry i samples the gradient at i / (size - 1) after bias, gain and
  // reversal (a one-entry table samples the start). Entries are kept in
  // 0..32640. A null gradient leaves the table empty and answers false.
  bool CreateBytes(const CGradient* gradient, int size);
  bool CreateDwords(const CGradient* gradient, int size, GradMask mask = GradMask::All);
  // Frees both tables; the entry count becomes 0.
  void Clear();

  // count samples straight into out, by the same rules as the table entries
  // (sample i at i / (count - 1)), without keeping a table. Bytes are
  // (v + 64) >> 7 of the single value; dwords pack red in the low byte up to
  // alpha in the top byte. A null gradient or a count below 1 writes nothing.
  void OutputBytes(const CGradient* gradient, uint8_t* out, int count) const;
  void OutputDwords(const CGradient* gradient, uint32_t* out, int count, GradMask mask = GradMask::All) const;

  // --- Lookups --------------------------------------------------------------
  // pos is a 15-bit position; larger values read as 32767. The double form
  // rounds t * 32768 half away from zero and keeps it within 0..32767, so
  // t = 1.0 reads 32767, just short of the last entry.
  uint8_t GetByteValue(uint16_t pos) const;
  uint8_t GetByteValue(double t) const;
  // Packed colour: red in bits 0-7, green 8-15, blue 16-23, alpha 24-31.
  uint32_t GetDwordValue(uint16_t pos) const;
  uint32_t GetDwordValue(double t) const;
  uint8_t GetStartByteValue() const;
  uint8_t GetEndByteValue() const;
  uint32_t GetStartDwordValue() const;
  uint32_t GetEndDwordValue() const;

  // The same lookups for many positions at once, with SSE2; each result
  // equals the single lookup of its position.
  void GetParallelBytes(const uint16_t* positions, uint8_t* out, int count) const;
  void GetParallelDwords(const uint16_t* positions, uint32_t* out, int count) const;
  // Fill form: pixel k reads position (start + k * step) >> 16, kept within
  // 0..32767 (pixels beyond either end repeat the end's value). start and
  // step are positions with 16 more fraction bits, so a row of width w that
  // runs the whole gradient uses start 0 and step 2^31 / w.
  void GetParallelBytes(int64_t start, int64_t step, uint8_t* out, int count) const;
  void GetParallelDwords(int64_t start, int64_t step, uint32_t* out, int count) const;

  // --- Inspection -------------------------------------------------------------
  int GetSize() const { return m_count; }
  bool HasByteTable() const { return m_bytes != nullptr; }
  bool HasDwordTable() const { return m_dwords != nullptr; }
  // Entry i of the single-value table, or of channel c (0 red .. 3 alpha) of
  // the four-channel table; 0 outside the table.
  int16_t GetByteEntry(int i) const;
  int16_t GetDwordEntry(int i, int channel) const;
  uint16_t GetIndexMask() const { return m_indexMask; }
  uint16_t GetIndexShift() const { return m_indexShift; }
  uint16_t GetFractionMask() const { return m_fractionMask; }
  uint16_t GetFractionShift() const { return m_fractionShift; }

 private:
  double MapPosition(int i, int count) const;
  void SetMasks();
  void CopyFrom(const CGradientTable& other);

  // The masks and the rounding constant, each replicated into eight lanes for
  // the SSE2 lookups.
  alignas(16) uint16_t m_vecIndexMask[8] = {};
  alignas(16) uint16_t m_vecFractionMask[8] = {};
  alignas(16) uint16_t m_vecRound[8] = {64, 64, 64, 64, 64, 64, 64, 64};
  uint16_t m_indexMask = 0;
  uint16_t m_indexShift = 0;
  uint16_t m_fractionMask = 0;
  uint16_t m_fractionShift = 0;

  // Both tables carry one padding entry past the last (a copy of it), so the
  // interpolation of a one-entry table reads a neighbour too.
  int16_t* m_bytes = nullptr;
  int16_t* m_dwords = nullptr;  // red, green, blue, alpha per entry
  int m_count = 0;

  double m_bias = 0.0;
  double m_gain = 0.5;
  double m_kBias = 0.0;
  double m_kGain = 0.0;
  double m_kGain2 = 0.0;
  bool m_biasEnabled = false;
  bool m_gainEnabled = false;
  bool m_alphaEnabled = true;
  bool m_reversed = false;
};

}  // namespace Kernel
