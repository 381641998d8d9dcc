// The processor-level routines: flags register, ID-flag test, CPUID, XGETBV
// and the x87 reset. Written with intrinsics and inline assembly; on a
// processor family without these instructions the routines answer "no
// CPUID" and the library identifies nothing.
#include <kernel/CPU.h>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <x86intrin.h>
#define NK_X86 1
#else
#define NK_X86 0
#endif

namespace Kernel {

namespace {

#if NK_X86
// The compiler's flag intrinsics rather than a hand-written pushf/popf: the
// compiler knows they move the stack pointer, which matters in leaf
// functions that keep locals below it (the red zone).
uint64_t ReadFlags() { return __readeflags(); }

// Flips the ID flag, reads the flags back and restores them: a processor
// that lets the bit change implements CPUID.
bool IdFlagToggles() {
  const auto saved = __readeflags();
  __writeeflags(saved ^ 0x200000);
  const auto changed = __readeflags();
  __writeeflags(saved);
  return ((saved ^ changed) & 0x200000) != 0;
}
#endif

class HardwareCPUID final : public CPUIDSource {
 public:
  bool CheckCPUID() const override {
#if NK_X86
    return IdFlagToggles();
#else
    return false;
#endif
  }

  CPUIDRegisters DoCPUID(uint32_t leaf) const override {
    CPUIDRegisters r;
#if NK_X86
    __cpuid_count(leaf, 0, r.eax, r.ebx, r.ecx, r.edx);
#else
    (void)leaf;
#endif
    return r;
  }

  uint64_t GetXCR0() const override {
#if NK_X86
    // XGETBV faults unless the system set CR4.OSXSAVE, which CPUID reports
    // as bit 27 of leaf 1 ECX.
    if (!CheckCPUID()) return 0;
    if (DoCPUID(0).eax < 1) return 0;
    if (((DoCPUID(1).ecx >> 27) & 1) == 0) return 0;
    uint32_t lo, hi;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (uint64_t(hi) << 32) | lo;
#else
    return 0;
#endif
  }
};

}  // namespace

CPUIDSource::~CPUIDSource() = default;

const CPUIDSource& CPUIDSource::Hardware() {
  static const HardwareCPUID hardware;
  return hardware;
}

uint64_t CPU::GetEFlags() {
#if NK_X86
  return ReadFlags();
#else
  return 0;
#endif
}

uint8_t CPU::GetIOPrivilegeLevel() { return uint8_t((GetEFlags() >> 12) & 3); }

void ResetFpu() {
#if NK_X86
  // fninit would also restore the default control word (64-bit precision,
  // round to nearest), silently changing the results of code that set its
  // own; so the control word is saved around it.
  uint16_t controlWord;
  __asm__ volatile(
      "fnstcw %0\n\t"
      "fninit\n\t"
      "fldcw %0"
      : "+m"(controlWord)
      :
      : "memory");
#endif
}

}  // namespace Kernel
