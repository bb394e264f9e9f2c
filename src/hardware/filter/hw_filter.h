// The content of a translation file: WMI class entries, which are only handed out, and translation
// rules, which are applied to the inventory (docs/translation-file.md).

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>

#include "hardware/filter/hw_filter_attr.h"
#include "hardware/filter/hw_filter_wmi_class.h"
#include "kor/container.h"
#include "kor/string.h"
#include "kor/vector.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {

// What a translation may cost. It is given up beyond.
struct HwFilterLimits {
  size_t bytesOfValues = size_t{256} * 1024 * 1024;  // of all values of the inventory together
  uint32_t milliseconds = 10'000;                    // of the processor
};

// A translation met a limit; says which, and in which pass.
class HwFilterGivenUp : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Belongs to one thread from its making to its end.
class HwFilter {
 public:
  HwFilter() = default;
  virtual ~HwFilter() = default;
  HwFilter(const HwFilter&) = delete;
  HwFilter& operator=(const HwFilter&) = delete;

  // Deletes classes and rules. The number of passes stays.
  void Clear();

  // How often the rules are run over an inventory at most.
  uint32_t& GetHwListMaxPass() { return hwListMaxPass; }
  uint32_t GetHwListMaxPass() const { return hwListMaxPass; }

  // Add takes ownership; false for null. Get gives null when the index is not below the count.
  uint32_t WmiClassCount() const { return static_cast<uint32_t>(classes.Count()); }
  bool WmiClassAdd(HwFilterWmiClass* entry);
  HwFilterWmiClass* WmiClassGet(uint32_t index) const;

  // The same for rules. Their order is the order of evaluation.
  uint32_t AttrCount() const { return static_cast<uint32_t>(rules.Count()); }
  bool AttrAdd(HwFilterAttr* rule);
  HwFilterAttr* AttrGet(uint32_t index) const;

  // Adds what the file holds to what is here. False, with an error logged, when the file cannot be
  // read to its end; entries before that point stay.
  bool Load(const KorString& path);

  // The file that was loaded last; empty before.
  const KorString& File() const { return file; }

  // Runs the rules over every value of the inventory until a pass changes nothing or the number of
  // passes is reached. Throws HwFilterGivenUp at one of the limits, which rules get to that
  // lengthen values, that never settle or whose expressions are hard to match: an inventory that is
  // half translated holds what the rules should have taken out. Throws KorThreadCancelled on a
  // thread that is cancelled.
  void ProcessAttrs(ObjInv& inventory, const HwFilterLimits& limits = {}) const;

  // Applies all rules once to one attribute. False when it is to be rejected. `modified` says
  // whether a rule rewrote it (to the same text, too); a new value is stored at once, a new name is
  // only given in `name`, which is else empty.
  bool ProcessAttr(ObjInstAttr* attribute, bool& modified, KorString& name) const;

  // Replaces the container's content by the WMI class entries.
  void WmiToContainer(KorContainer& out) const;

 private:
  uint32_t hwListMaxPass = 0;
  KorString file;
  KorVector<std::unique_ptr<HwFilterWmiClass>> classes;
  KorVector<std::unique_ptr<HwFilterAttr>> rules;
};

}  // namespace HardwareInventory
