#pragma once
// A processor made of crafted CPUID answers, to identify processors this
// machine is not: other vendors, old Intel families, brand indices, serial
// numbers, systems that disable the wide registers.
#include <kernel/CPU.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>

namespace nktest {

class CraftedCPUID : public Kernel::CPUIDSource {
 public:
  bool hasCPUID = true;
  std::map<uint32_t, Kernel::CPUIDRegisters> leaves;
  uint64_t xcr0 = 0;
  mutable int xcr0Reads = 0;

  bool CheckCPUID() const override { return hasCPUID; }
  Kernel::CPUIDRegisters DoCPUID(uint32_t leaf) const override {
    const auto it = leaves.find(leaf);
    return it == leaves.end() ? Kernel::CPUIDRegisters{} : it->second;
  }
  uint64_t GetXCR0() const override {
    ++xcr0Reads;
    return xcr0;
  }

  // Leaf 0: the highest basic leaf and twelve vendor characters, which the
  // processor hands out in EBX, EDX, ECX.
  void SetVendor(const char* vendor12, uint32_t maxBasicLeaf) {
    char bytes[12] = {};
    std::memcpy(bytes, vendor12, std::min<size_t>(12, std::strlen(vendor12)));
    Kernel::CPUIDRegisters& r = leaves[0];
    r.eax = maxBasicLeaf;
    std::memcpy(&r.ebx, bytes, 4);
    std::memcpy(&r.edx, bytes + 4, 4);
    std::memcpy(&r.ecx, bytes + 8, 4);
  }

  // Leaves 0x80000000 and 0x80000002-4 carrying up to 48 brand bytes.
  void SetBrand(const std::string& brand48, uint32_t maxExtendedLeaf = 0x80000008) {
    leaves[0x80000000].eax = maxExtendedLeaf;
    char bytes[48] = {};
    std::memcpy(bytes, brand48.data(), std::min<size_t>(48, brand48.size()));
    for (uint32_t i = 0; i < 3; ++i) {
      Kernel::CPUIDRegisters& r = leaves[0x80000002 + i];
      std::memcpy(&r.eax, bytes + i * 16, 4);
      std::memcpy(&r.ebx, bytes + i * 16 + 4, 4);
      std::memcpy(&r.ecx, bytes + i * 16 + 8, 4);
      std::memcpy(&r.edx, bytes + i * 16 + 12, 4);
    }
  }

  // An Intel processor with leaf 1 = (eax, ebx, edx).
  static CraftedCPUID Intel(uint32_t eax, uint32_t ebx = 0, uint32_t edx = 0, uint32_t maxBasicLeaf = 2) {
    CraftedCPUID c;
    c.SetVendor("GenuineIntel", maxBasicLeaf);
    c.leaves[1] = Kernel::CPUIDRegisters{eax, ebx, 0, edx};
    return c;
  }
};

// Type, family, model and stepping packed as leaf 1 EAX.
constexpr uint32_t Version(uint32_t type, uint32_t family, uint32_t model, uint32_t stepping = 0,
                           uint32_t extFamily = 0, uint32_t extModel = 0) {
  return stepping | (model << 4) | (family << 8) | (type << 12) | (extModel << 16) | (extFamily << 20);
}

inline std::wstring Text(const CString& s) { return std::wstring(s.GetString()); }

// A crafted processor already identified as a T (CPU or CPUIntel).
template <typename T = Kernel::CPUIntel>
struct Identified {
  CraftedCPUID source;
  T cpu{&source};
  explicit Identified(CraftedCPUID s) : source(std::move(s)) { cpu.Init(); }
  std::wstring Report() const {
    CString report(L"something to be replaced");
    cpu.GetInfo(report);
    return Text(report);
  }
};

}  // namespace nktest
