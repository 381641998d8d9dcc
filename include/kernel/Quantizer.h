#pragma once
// Octree colour quantisation: CQuantizer reduces the colours fed to it to a
// palette of at most a requested number of entries, and QuantizeBitmap runs
// it over a whole bitmap, giving an 8-bit indexed copy.
//
// Every added colour descends the tree by its bits, most significant first;
// a node at the tree's depth is a leaf that sums the colours reaching it.
// When the tree holds more leaves than allowed, the most recently created
// node of the deepest reducible level is folded into a leaf.
#include <cstdint>
#include <vector>

#include <kernel/Export.h>
#include <kernel/Gdi.h>
#include <kernel/MemoryBitmap.h>
#include <kernel/RefCount.h>

namespace Kernel {

class NK_API CQuantizer {
 public:
  // One octree node. Inner nodes keep zero counts and sums until they are
  // folded into a leaf.
  struct Node {
    uint32_t m_isLeaf;      // non-zero for a leaf
    uint64_t m_pixelCount;  // colours that ended here
    uint64_t m_redSum;      // channel sums of those colours
    uint64_t m_greenSum;
    uint64_t m_blueSum;
    uint64_t m_alphaSum;    // the fourth channel; AddColour feeds it 0
    Node* m_child[8];       // indexed by (red bit) * 4 + (green bit) * 2 + (blue bit)
    uint8_t m_index;        // the index byte given when the node was created
    Node* m_nextReducible;  // next inner node of the same level, most recent first
  };

  // The same as CQuantizer(256, 8).
  CQuantizer();
  // colours: the palette size asked for (the tree keeps up to max(colours, 16)
  // leaves); colourBits: bits of each channel that count (the tree depth is
  // min(colourBits, 8)).
  CQuantizer(uint32_t colours, uint32_t colourBits);
  // A copy shares the original's tree: colours added through either are
  // seen by both, and both give the same palette. The tree is reference
  // counted, so copies may be destroyed in any order; the last one frees it.
  CQuantizer(const CQuantizer& other);
  CQuantizer& operator=(const CQuantizer& other);
  virtual ~CQuantizer();

  // Starts over as if newly constructed with these arguments. The quantizer
  // lets go of the tree it held (which is freed unless a copy still shares
  // it) and starts a new empty one of its own, so Init is also the way to
  // empty a quantizer for reuse.
  void Init(uint32_t colours, uint32_t colourBits);

  // Adds one colour (red in bits 0-7, green 8-15, blue 16-23; bits 24-31 are
  // ignored). index is stored in every node this call creates.
  void AddColour(uint32_t colour, uint8_t index);
  // The same as count calls of AddColour(colour, index), in one descent:
  // repeats of a colour only add to the leaf the first one reaches, and which
  // node a reduction folds does not depend on the counts.
  void AddColour(uint32_t colour, uint8_t index, uint64_t count);

  // Fills entries 0 .. colours - 1 of table (red, green, blue and reserved
  // from the leaves' means). With 16 colours or more the leaves are written
  // in tree order and the rest zeroed; from 2 to 15 colours runs of
  // neighbouring leaves are merged by pixel-weighted means; with 1 colour the
  // entry is the root's mean when the root is a leaf, else the first leaf.
  void SetColourTable(RGBQUAD* table);

  // The index byte of the node where the colour's path ends: its leaf, or
  // the last node on the path when the path leaves the tree early. 0 for an
  // empty tree.
  uint8_t FindNearestColour(uint32_t colour) const;

  // Stores in every leaf the number of the table entry SetColourTable gives
  // it, and in every inner node the entry nearest (by squared RGB distance)
  // to the mean of the colours below it, so that FindNearestColour answers
  // palette entries. False (and nothing changed) when colours is past 256.
  bool SetPaletteIndices();

  // The palette index of pixel (x, y) of an indexed bitmap with the given
  // depth and row size: 8 bits read byte y * bytesPerLine + x; 4 bits the
  // high nibble of byte y * bytesPerLine + x / 2 for even x, the low nibble
  // for odd x; 1 bit bit 7 - x % 8 of byte y * bytesPerLine + x / 8. Any
  // other depth gives 0.
  static uint8_t GetPixelIndex(int32_t x, int32_t y, int bitsPerPixel, int32_t bytesPerLine, const uint8_t* bits);

  // --- State --------------------------------------------------------------
  uint32_t GetLeafCount() const;
  uint32_t GetColourCount() const { return m_colours; }
  uint32_t GetLeafLimit() const { return m_leafLimit; }
  uint32_t GetDepth() const { return m_depth; }
  const Node* GetRoot() const;
  // The leaves' colours in tree order (depth first, children 0..7), with
  // their pixel counts when counts is not null.
  std::vector<RGBQUAD> GetLeafColours(std::vector<uint64_t>* counts = nullptr) const;

 private:
  class CTree;

  void ReduceTree();
  void GetPaletteColours(const Node* node, std::vector<RGBQUAD>& colours, std::vector<uint64_t>* counts) const;
  uint8_t FindNearestColour(const Node* node, uint32_t level, uint32_t r, uint32_t g, uint32_t b) const;

  CPtr<CTree> m_tree;
  uint32_t m_leafLimit = 256;
  uint32_t m_colours = 256;
  uint32_t m_depth = 8;
};

// What QuantizeBitmap hands back.
struct CQuantizeResult {
  // An 8-bit indexed (RGB8) bitmap of the source's size, TopLeft, carrying
  // the palette.
  CPtr<CMemoryBitmap> bitmap;
  // The entries the quantiser produced (at most the colours asked for; fewer
  // when the image has fewer colours), and how many pixels use each.
  std::vector<RGBQUAD> palette;
  std::vector<uint64_t> counts;
  // Mean of the squared differences between the source's red, green and blue
  // channels and those of the chosen entries, over all pixels and the three
  // channels (0 for an empty bitmap).
  double meanSquaredError = 0.0;
};

struct CQuantizeOptions {
  // Floyd-Steinberg error diffusion in the RGB domain: each pixel takes the
  // palette entry nearest to its colour plus the error carried to it, and
  // passes its own error on (7/16 ahead, 3/16, 5/16, 1/16 on the next row).
  bool dither = false;
  // With dither: walk rows alternately left to right and right to left, so
  // the error does not drift in one direction.
  bool serpentine = true;
};

// Quantises any bitmap of the 21 formats (pixels read as 8-bit red, green,
// blue; alpha is ignored) to at most colours entries (1 to 256) with an
// octree of depth 8, and maps each pixel to an entry: without dithering to
// the entry of its own leaf, with dithering to the nearest entry. An image
// with no more distinct colours than asked for comes back exactly.
// Throws CInvalidArgException for colours outside 1..256 and for a bitmap
// whose format is unknown; CMemoryException when memory runs out.
NK_API CQuantizeResult QuantizeBitmap(const CBaseBitmap& source, int colours, const CQuantizeOptions& options = {});
NK_API CQuantizeResult QuantizeBitmap(const CBaseBitmap& source, int colours, bool dither);

}  // namespace Kernel
