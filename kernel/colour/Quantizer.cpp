// The octree quantiser.
//
// Copies of a quantizer share one tree, so the tree (root, leaf count and
// the per-level reducible lists, which must always agree with each other)
// lives in a reference-counted object rather than in the quantizer itself:
// whichever copy adds a colour, every copy sees a consistent tree, and the
// last copy to go frees it.
//
// Nodes come from a pool owned by the tree. A node is zero-filled when it is
// handed out and goes back to the pool's free list when a reduction folds it
// away, so a photograph's hundreds of thousands of node creations and
// deletions cost no heap traffic; the blocks themselves go with the tree.
#include <kernel/Quantizer.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include <kernel/Exceptions.h>

namespace Kernel {

class CQuantizer::CTree : public CRefCount {
 public:
  Node* m_root = nullptr;
  uint32_t m_leafCount = 0;
  Node* m_reducible[9] = {};

  CTree() = default;
  CTree(const CTree&) = delete;
  CTree& operator=(const CTree&) = delete;

  // A zero-filled node. Throws CMemoryException when no memory is left.
  Node* CreateNode() {
    Node* node = m_free;
    if (node != nullptr) {
      m_free = node->m_nextReducible;
    } else {
      if (m_blocks.empty() || m_usedInBlock == c_blockNodes) {
        Node* block = new (std::nothrow) Node[c_blockNodes];
        if (block == nullptr) throw CMemoryException();
        try {
          m_blocks.emplace_back(block);
        } catch (...) {
          delete[] block;
          throw CMemoryException();
        }
        m_usedInBlock = 0;
      }
      node = &m_blocks.back()[m_usedInBlock++];
    }
    std::memset(static_cast<void*>(node), 0, sizeof(Node));
    return node;
  }

  // Frees a subtree, children first.
  void DeleteTree(Node* node) {
    if (node == nullptr) return;
    for (Node* child : node->m_child) DeleteTree(child);
    node->m_nextReducible = m_free;
    m_free = node;
  }

 protected:
  ~CTree() override = default;

 private:
  // 512 nodes of 128 bytes: 64 KiB per block.
  static constexpr size_t c_blockNodes = 512;
  std::vector<std::unique_ptr<Node[]>> m_blocks;
  size_t m_usedInBlock = 0;
  Node* m_free = nullptr;
};

namespace {

inline uint32_t ChildIndex(uint32_t r, uint32_t g, uint32_t b, uint32_t shift) {
  return ((r >> shift) & 1u) << 2 | ((g >> shift) & 1u) << 1 | ((b >> shift) & 1u);
}

inline uint8_t Mean(uint64_t sum, uint64_t count) { return count == 0 ? 0 : static_cast<uint8_t>(sum / count); }

struct Totals {
  uint64_t count = 0, red = 0, green = 0, blue = 0;
};

}  // namespace

CQuantizer::CQuantizer() : CQuantizer(256, 8) {}

CQuantizer::CQuantizer(uint32_t colours, uint32_t colourBits) { Init(colours, colourBits); }

CQuantizer::CQuantizer(const CQuantizer& other) = default;

CQuantizer& CQuantizer::operator=(const CQuantizer& other) = default;

CQuantizer::~CQuantizer() = default;

void CQuantizer::Init(uint32_t colours, uint32_t colourBits) {
  m_tree = new CTree;
  m_colours = colours;
  m_leafLimit = std::max(colours, 16u);
  m_depth = std::min(colourBits, 8u);
}

uint32_t CQuantizer::GetLeafCount() const { return m_tree->m_leafCount; }

const CQuantizer::Node* CQuantizer::GetRoot() const { return m_tree->m_root; }

void CQuantizer::AddColour(uint32_t colour, uint8_t index) { AddColour(colour, index, 1); }

void CQuantizer::AddColour(uint32_t colour, uint8_t index, uint64_t count) {
  if (count == 0) return;
  CTree& tree = *m_tree;
  const uint32_t r = colour & 0xFF, g = (colour >> 8) & 0xFF, b = (colour >> 16) & 0xFF;
  Node** slot = &tree.m_root;
  for (uint32_t level = 0;; ++level) {
    Node* node = *slot;
    if (node == nullptr) {
      node = tree.CreateNode();
      node->m_index = index;
      if (level >= m_depth) {
        node->m_isLeaf = 1;
        ++tree.m_leafCount;
      } else {
        node->m_nextReducible = tree.m_reducible[level];
        tree.m_reducible[level] = node;
      }
      *slot = node;
    }
    if (node->m_isLeaf != 0) {
      node->m_pixelCount += count;
      node->m_redSum += r * count;
      node->m_greenSum += g * count;
      node->m_blueSum += b * count;
      break;
    }
    slot = &node->m_child[ChildIndex(r, g, b, 7 - level)];
  }
  while (tree.m_leafCount > m_leafLimit) ReduceTree();
}

void CQuantizer::ReduceTree() {
  CTree& tree = *m_tree;
  int level = static_cast<int>(m_depth) - 1;
  while (level >= 1 && tree.m_reducible[level] == nullptr) --level;
  if (level < 1) level = 0;
  Node* node = tree.m_reducible[level];
  // Only a tree whose root is already a leaf has nothing left to fold, and
  // such a tree holds a single leaf.
  if (node == nullptr) return;
  tree.m_reducible[level] = node->m_nextReducible;
  node->m_nextReducible = nullptr;

  uint64_t red = 0, green = 0, blue = 0, alpha = 0;
  uint32_t merged = 0;
  for (Node*& child : node->m_child) {
    if (child == nullptr) continue;
    node->m_pixelCount += child->m_pixelCount;
    red += child->m_redSum;
    green += child->m_greenSum;
    blue += child->m_blueSum;
    alpha += child->m_alphaSum;
    tree.DeleteTree(child);
    child = nullptr;
    ++merged;
  }
  node->m_redSum = red;
  node->m_greenSum = green;
  node->m_blueSum = blue;
  node->m_alphaSum = alpha;
  node->m_isLeaf = 1;
  tree.m_leafCount = tree.m_leafCount + 1 - merged;
}

void CQuantizer::GetPaletteColours(const Node* node, std::vector<RGBQUAD>& colours,
                                   std::vector<uint64_t>* counts) const {
  if (node == nullptr) return;
  if (node->m_isLeaf != 0) {
    const uint64_t n = node->m_pixelCount;
    colours.push_back(RGBQUAD{Mean(node->m_blueSum, n), Mean(node->m_greenSum, n), Mean(node->m_redSum, n),
                              Mean(node->m_alphaSum, n)});
    if (counts != nullptr) counts->push_back(n);
    return;
  }
  for (const Node* child : node->m_child) GetPaletteColours(child, colours, counts);
}

std::vector<RGBQUAD> CQuantizer::GetLeafColours(std::vector<uint64_t>* counts) const {
  std::vector<RGBQUAD> colours;
  colours.reserve(m_tree->m_leafCount);
  if (counts != nullptr) {
    counts->clear();
    counts->reserve(m_tree->m_leafCount);
  }
  GetPaletteColours(m_tree->m_root, colours, counts);
  return colours;
}

namespace {

// Output entry j of the merged regime covers leaves [j * L / N, (j + 1) * L / N).
inline uint32_t RunStart(uint32_t j, uint32_t leaves, uint32_t colours) {
  return static_cast<uint32_t>(static_cast<uint64_t>(j) * leaves / colours);
}

}  // namespace

void CQuantizer::SetColourTable(RGBQUAD* table) {
  const uint32_t n = m_colours;
  if (n == 0 || table == nullptr) return;
  std::fill(table, table + n, RGBQUAD{0, 0, 0, 0});
  const Node* root = m_tree->m_root;

  if (n == 1) {
    // A single entry is the first leaf as it stands, not a mean of all of
    // them: the root's own mean when the root is a leaf.
    const Node* node = root;
    while (node != nullptr && node->m_isLeaf == 0) {
      const Node* next = nullptr;
      for (const Node* child : node->m_child) {
        if (child != nullptr) {
          next = child;
          break;
        }
      }
      node = next;
    }
    if (node != nullptr) {
      const uint64_t c = node->m_pixelCount;
      table[0] = RGBQUAD{Mean(node->m_blueSum, c), Mean(node->m_greenSum, c), Mean(node->m_redSum, c),
                         Mean(node->m_alphaSum, c)};
    }
    return;
  }

  std::vector<uint64_t> counts;
  const std::vector<RGBQUAD> leaves = GetLeafColours(n < 16 ? &counts : nullptr);
  const auto leafCount = static_cast<uint32_t>(leaves.size());
  if (n >= 16 || leafCount <= n) {
    std::copy_n(leaves.begin(), std::min(leafCount, n), table);
    return;
  }
  for (uint32_t j = 0; j < n; ++j) {
    const uint32_t from = RunStart(j, leafCount, n), to = RunStart(j + 1, leafCount, n);
    uint64_t total = 0, red = 0, green = 0, blue = 0, reserved = 0;
    for (uint32_t i = from; i < to; ++i) {
      const uint64_t c = counts[i];
      total += c;
      red += leaves[i].rgbRed * c;
      green += leaves[i].rgbGreen * c;
      blue += leaves[i].rgbBlue * c;
      reserved += leaves[i].rgbReserved * c;
    }
    table[j] = RGBQUAD{Mean(blue, total), Mean(green, total), Mean(red, total), Mean(reserved, total)};
  }
}

uint8_t CQuantizer::FindNearestColour(uint32_t colour) const {
  return FindNearestColour(m_tree->m_root, 0, colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
}

uint8_t CQuantizer::FindNearestColour(const Node* node, uint32_t level, uint32_t r, uint32_t g, uint32_t b) const {
  if (node == nullptr) return 0;
  for (; node->m_isLeaf == 0 && level < 8; ++level) {
    const Node* child = node->m_child[ChildIndex(r, g, b, 7 - level)];
    if (child == nullptr) break;  // the path leaves the tree here
    node = child;
  }
  return node->m_index;
}

bool CQuantizer::SetPaletteIndices() {
  const uint32_t n = m_colours;
  if (n == 0 || n > 256) return false;
  Node* root = m_tree->m_root;
  if (root == nullptr) return true;

  const auto leafCount = static_cast<uint32_t>(GetLeafColours().size());
  std::vector<RGBQUAD> table(n);
  SetColourTable(table.data());
  // The entries the table really fills; inner nodes choose among these only,
  // not among the zeroed rest.
  const uint32_t produced = n == 1 ? 1 : std::min(leafCount, n);

  uint32_t nextLeaf = 0;
  const auto entryOfLeaf = [&](uint32_t leaf) -> uint8_t {
    if (n == 1) return 0;
    if (n >= 16 || leafCount <= n) return static_cast<uint8_t>(leaf);
    uint32_t j = static_cast<uint32_t>(static_cast<uint64_t>(leaf) * n / leafCount);
    while (j + 1 < n && RunStart(j + 1, leafCount, n) <= leaf) ++j;
    while (j > 0 && RunStart(j, leafCount, n) > leaf) --j;
    return static_cast<uint8_t>(j);
  };
  const auto nearestEntry = [&](const Totals& t) -> uint8_t {
    if (t.count == 0) return 0;
    const int r = Mean(t.red, t.count), g = Mean(t.green, t.count), b = Mean(t.blue, t.count);
    uint32_t best = 0;
    int bestDistance = 1 << 30;
    for (uint32_t i = 0; i < produced; ++i) {
      const int dr = r - table[i].rgbRed, dg = g - table[i].rgbGreen, db = b - table[i].rgbBlue;
      const int d = dr * dr + dg * dg + db * db;
      if (d < bestDistance) {
        bestDistance = d;
        best = i;
      }
    }
    return static_cast<uint8_t>(best);
  };
  // Depth first in child order 0..7, the order the table was filled in.
  const auto walk = [&](auto&& self, Node* node) -> Totals {
    Totals t;
    if (node->m_isLeaf != 0) {
      node->m_index = entryOfLeaf(nextLeaf++);
      return Totals{node->m_pixelCount, node->m_redSum, node->m_greenSum, node->m_blueSum};
    }
    for (Node* child : node->m_child) {
      if (child == nullptr) continue;
      const Totals c = self(self, child);
      t.count += c.count;
      t.red += c.red;
      t.green += c.green;
      t.blue += c.blue;
    }
    node->m_index = nearestEntry(t);
    return t;
  };
  walk(walk, root);
  return true;
}

uint8_t CQuantizer::GetPixelIndex(int32_t x, int32_t y, int bitsPerPixel, int32_t bytesPerLine, const uint8_t* bits) {
  if (bits == nullptr) return 0;
  const uint8_t* row = bits + static_cast<int64_t>(y) * bytesPerLine;
  switch (bitsPerPixel) {
    case 8:
      return row[x];
    case 4: {
      const uint8_t byte = row[(static_cast<int64_t>(x) * 4) >> 3];
      return (x & 1) == 0 ? static_cast<uint8_t>(byte >> 4) : static_cast<uint8_t>(byte & 0x0F);
    }
    case 1:
      return static_cast<uint8_t>((row[x >> 3] >> (7 - (x & 7))) & 1);
    default:
      return 0;
  }
}

}  // namespace Kernel
