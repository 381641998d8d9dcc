#pragma once
// Processor identification: the vendor, the feature word, Intel's version
// fields with their descriptions, the brand string and a diagnostic report;
// feature questions for code that picks SIMD paths; processor counts.
//
// The few instructions that C++ cannot express (reading the flags register,
// toggling its ID flag, CPUID, XGETBV and the x87 control-word dance of
// ResetFpu) are written with the compiler's intrinsics and a few lines of
// inline assembly. Nothing is generated at run time: the Windows build
// assembles these routines on first use into executable memory owned by
// MemWrapper, under the ASM64Lock critical section; this build needs
// neither, since the routines exist from the moment the library is loaded.
#include <kernel/Export.h>
#include <kernel/CString.h>
#include <kernel/Sync.h>

#include <cstdint>

namespace Kernel {

// The four registers one CPUID leaf answers with.
struct CPUIDRegisters {
  uint32_t eax = 0;
  uint32_t ebx = 0;
  uint32_t ecx = 0;
  uint32_t edx = 0;
};

// Where processor information comes from. The processor itself answers
// through Hardware(); a test or a diagnostic tool can hand a CPU object a
// source of its own to see how a given processor would be identified.
class NK_API CPUIDSource {
 public:
  virtual ~CPUIDSource();
  // True when bit 21 of the flags register (the ID flag) can be toggled,
  // which is how a processor says it has the CPUID instruction.
  virtual bool CheckCPUID() const = 0;
  // CPUID for leaf with sub-leaf 0 (so leaf 7 is well defined).
  virtual CPUIDRegisters DoCPUID(uint32_t leaf) const = 0;
  // The extended control register XCR0: which register files the operating
  // system saves on a context switch. 0 when the system has not enabled
  // XSAVE (then XGETBV itself would fault, so it is not executed).
  virtual uint64_t GetXCR0() const = 0;

  // The processor this code runs on. Lives for the whole process.
  static const CPUIDSource& Hardware();
};

// A processor as CPUID describes it. Init() fills the object; before that it
// holds the initial values (no CPUID, unknown manufacturer, features all set).
class NK_API CPU {
 public:
  enum Manufacturer { Unknown = 0, Intel = 1, AMD = 2, Cyrix = 3 };

  // source null means the processor this code runs on. The source must
  // outlive the object.
  explicit CPU(const CPUIDSource* source = nullptr);
  virtual ~CPU();

  // The multi-line diagnostic report; out is emptied first.
  virtual void GetInfo(CString& out) const;
  // Identifies the processor; may be called again to re-read it.
  virtual void Init();

  bool IsIntel() const { return m_manufacturer == Intel; }
  bool IsAMD() const { return m_manufacturer == AMD; }
  bool IsCyrix() const { return m_manufacturer == Cyrix; }
  Manufacturer GetManufacturer() const { return m_manufacturer; }
  // The 12-character vendor string ("<Unknown Manufacturer>" without CPUID).
  void GetManufacturer(CString& out) const { out = m_manufacturerString; }
  const CString& GetManufacturerString() const { return m_manufacturerString; }
  bool HasCPUID() const { return m_hasCPUID; }
  bool IsManufacturerValid() const { return m_manufacturer != Unknown; }
  bool IsFeaturesValid() const { return m_maxBasicLeaf >= 1; }
  uint64_t GetMaxBasicLeaf() const { return m_maxBasicLeaf; }
  // EDX of leaf 1; 0xFFFFFFFF until a processor with leaf 1 was read.
  uint64_t GetFeatures() const { return m_features; }
  bool OSSupportsSSE() const { return m_osSupportsSSE; }

  // Bit n (taken modulo 64) of the feature word; false without leaf 1, so
  // the all-ones initial word never answers yes.
  bool IsFeatureBit(uint8_t n) const { return IsFeaturesValid() && ((m_features >> (n % 64)) & 1) != 0; }
  bool IsMMXOnChip() const { return IsFeatureBit(23); }
  bool CanExecuteMMX() const { return IsFeatureBit(23); }
  bool IsFXSROnChip() const { return IsFeatureBit(24); }
  bool IsSSEOnChip() const { return IsFeatureBit(25); }
  bool IsSSE2OnChip() const { return IsFeatureBit(26); }
  bool HasHardwareMultiThreading() const { return IsFeatureBit(28); }
  bool CanExecuteSSE() const { return m_osSupportsSSE && IsFeatureBit(25); }
  bool CanExecuteSSE2() const { return m_osSupportsSSE && IsFeatureBit(26); }

  // The flags register of the calling thread (always the real processor).
  static uint64_t GetEFlags();
  // The I/O privilege level, bits 12-13 of the flags register.
  static uint8_t GetIOPrivilegeLevel();

 protected:
  bool CheckCPUID() const;
  // EAX, EBX, ECX, EDX of leaf into the low halves of out[0..3]; the high
  // halves are cleared.
  void DoCPUID(uint64_t* const out, uint64_t leaf) const;
  // "GenuineIntel", "AuthenticAMD", "CyrixInstead", exactly; anything else is Unknown.
  static Manufacturer ReadManufacturer(const CString& vendor);
  // Whether the operating system saves the SSE registers. Every x86-64
  // system does (its calling convention passes floating point in them), so
  // this is true whenever CPUID exists.
  bool QuerySupportForSSE() const;
  const CPUIDSource& Source() const { return *m_source; }

  bool m_hasCPUID = false;
  bool m_osSupportsSSE = false;
  uint64_t m_maxBasicLeaf = 0;
  CString m_manufacturerString;
  Manufacturer m_manufacturer = Unknown;
  uint64_t m_features = 0xFFFFFFFF;

 private:
  const CPUIDSource* m_source;
};

// An Intel processor: adds the version fields of leaf 1, the brand tables,
// the brand string of the extended leaves and the processor serial number.
class NK_API CPUIntel : public CPU {
 public:
  struct BRANDID_ENTRY {
    uint8_t brandIndex;
    const wchar_t* text;
  };
  struct MODELID_ENTRY {
    uint8_t type;
    uint8_t family;
    uint8_t model;
    uint8_t extendedFamily;
    uint8_t extendedModel;
    const wchar_t* text;
  };
  static const BRANDID_ENTRY s_tableBrand[6];
  static const MODELID_ENTRY s_tableModel[21];

  explicit CPUIntel(const CPUIDSource* source = nullptr);
  ~CPUIntel() override;

  void GetInfo(CString& out) const override;
  void Init() override;

  bool SupportsSerialNo() const { return IsFeatureBit(18); }
  bool SupportsTimeStamp() const { return IsFeatureBit(4); }

  uint32_t GetVersionInformation() const { return m_versionInformation; }
  // EAX of leaf 0x80000000 when its bit 31 is set, else 0.
  uint32_t GetMaxExtendedLeaf() const { return m_maxExtendedLeaf; }
  uint8_t GetBrandIndex() const { return m_brandIndex; }
  const CString& GetBrandIDString() const { return m_brandIDString; }
  const CString& GetBrandString() const { return m_brandString; }
  uint8_t GetType() const { return m_type; }
  uint8_t GetFamily() const { return m_family; }
  uint8_t GetModel() const { return m_model; }
  uint8_t GetStepping() const { return m_stepping; }
  // Only read when the family is 15 (resp. the model is 15); 0 otherwise.
  uint8_t GetExtendedFamily() const { return m_extendedFamily; }
  uint8_t GetExtendedModel() const { return m_extendedModel; }
  const CString& GetModelDescription() const { return m_modelDescription; }
  // Six dash-separated groups of four upper-case hex digits, most
  // significant first; empty when the processor has no serial number.
  const CString& GetSerialNumber() const { return m_serialNumber; }

 protected:
  uint32_t m_versionInformation = 0;
  uint32_t m_maxExtendedLeaf = 0;
  uint8_t m_brandIndex = 0;
  CString m_brandIDString;
  CString m_brandString;
  uint8_t m_type = 0;
  uint8_t m_family = 0;
  uint8_t m_model = 0;
  uint8_t m_stepping = 0;
  uint8_t m_extendedFamily = 0;
  uint8_t m_extendedModel = 0;
  CString m_modelDescription;
  CString m_serialNumber;
  // Leaf 1 EAX, leaf 3 EDX, leaf 3 ECX: the 96 bits of the serial number,
  // most significant word first.
  uint32_t m_serialWords[3] = {0, 0, 0};
};

// Identifies the processor once and keeps the result. DetectCPU() answers
// for the processor this code runs on; a detector made with a source of its
// own identifies that source's processor instead.
class NK_API CPUDetector {
 public:
  explicit CPUDetector(const CPUIDSource* source = nullptr);
  ~CPUDetector();
  CPUDetector(const CPUDetector&) = delete;
  CPUDetector& operator=(const CPUDetector&) = delete;

  // The process's processor, identified on the first call (thread-safe).
  static CPU& DetectCPU();
  // This detector's processor: a CPUIntel for an Intel vendor, else a plain CPU.
  CPU& GetCPU() { return _DetectCPU(); }

 protected:
  CPU& _DetectCPU();

 private:
  const CPUIDSource* m_source;
  CPU* m_cpu = nullptr;
  CCriticalSection m_lock;
};

// Feature questions for the library's SIMD dispatch. Each answer is worked
// out once per process and then costs a load.
NK_API bool IsMMXAvailable();
NK_API bool IsSSEAvailable();
NK_API bool IsSSE2Available();
NK_API bool IsSSSE3Available();
NK_API bool IsSSE41Available();
// The AVX family needs the processor flag AND the operating system's
// consent (XCR0): a system that does not save the wide registers on a
// context switch makes every AVX instruction fault.
NK_API bool IsAVXAvailable();
NK_API bool IsAVX2Available();
NK_API bool IsAVX512FAvailable();

// The answers above for an arbitrary source, worked out afresh.
struct SIMDFeatures {
  bool mmx = false;
  bool sse = false;
  bool sse2 = false;
  bool ssse3 = false;
  bool sse41 = false;
  bool avx = false;
  bool avx2 = false;
  bool avx512f = false;
};
NK_API SIMDFeatures DetectSIMDFeatures(const CPUIDSource& source);

// Re-initialises the x87 unit (empty register stack, cleared exception
// flags) but keeps its rounding and precision settings.
NK_API void ResetFpu();

// Processors of the machine: cores when logical is false, logical
// processors (hardware threads) when true. Counted once from the kernel's
// topology; when that cannot be read, both are the online processor count.
NK_API uint32_t GetNumberOfCPUs(bool logical);
// Logical processors this process may run on (its affinity mask); 0 when
// the mask cannot be read.
NK_API uint32_t GetNumberOfCPUsWithAffinity();
// Counts cores and logical processors from a topology folder laid out as
// /sys/devices/system/cpu: the processors listed in its "online" file (every
// cpuN folder when there is none), one core per distinct set of thread
// siblings. False, with both counts 0, when no core could be read.
NK_API bool ReadProcessorTopology(const char* cpuFolder, uint32_t& cores, uint32_t& logical);

// Process-wide view of the processors for code that sizes thread pools.
class NK_API IPP {
 public:
  static IPP& GetInstance();
  // Logical processors of the machine.
  uint32_t GetNumberOfProcessors() const { return m_logical; }
  uint32_t GetNumberOfCores() const { return m_cores; }
  // Logical processors the process may use (at least 1).
  uint32_t GetNumberOfUsableProcessors() const { return m_usable; }

 private:
  IPP();
  uint32_t m_logical;
  uint32_t m_cores;
  uint32_t m_usable;
};

}  // namespace Kernel
