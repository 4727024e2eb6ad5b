// Access to what the host hands out: suites with counted references, and memory handles.
#pragma once

#include <cstring>
#include <utility>

#include "host/records.h"
#include "host/suites.h"

namespace qx {

/// Reaches the basic suite through the standard parameters; null when a link is missing.
inline const host::SPBasicSuite* BasicSuiteOf(const host::StdParms* parms) {
  if (parms == nullptr || parms->piSuites == nullptr) return nullptr;
  const host::UtilFuncs* util = parms->piSuites->utilFuncs;
  return util != nullptr && util->getSPBasicSuite != nullptr ? util->getSPBasicSuite() : nullptr;
}

inline const host::MemFuncs* MemFuncsOf(const host::StdParms* parms) {
  return parms != nullptr && parms->piSuites != nullptr ? parms->piSuites->memFuncs : nullptr;
}

/// One acquired suite; released with the version it was acquired with. Move-only. Empty when the host refused it.
template <typename Functions>
class HostSuite {
 public:
  HostSuite() = default;
  HostSuite(const host::SPBasicSuite* basic, const char* name, int32_t version) : basic_(basic), name_(name), version_(version) {
    const void* suite = nullptr;
    if (basic_ != nullptr && basic_->acquireSuite(name, version, &suite) == 0) functions_ = static_cast<const Functions*>(suite);
  }
  HostSuite(HostSuite&& other) noexcept { *this = std::move(other); }
  HostSuite& operator=(HostSuite&& other) noexcept {
    std::swap(basic_, other.basic_);
    std::swap(name_, other.name_);
    std::swap(version_, other.version_);
    std::swap(functions_, other.functions_);
    return *this;
  }
  ~HostSuite() {
    if (functions_ != nullptr) basic_->releaseSuite(name_, version_);
  }

  bool Available() const { return functions_ != nullptr; }
  const Functions* get() const { return functions_; }
  const Functions* operator->() const { return functions_; }

 private:
  const host::SPBasicSuite* basic_ = nullptr;
  const char* name_ = nullptr;
  int32_t version_ = 0;
  const Functions* functions_ = nullptr;
};

}  // namespace qx
