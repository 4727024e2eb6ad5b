// The host's standard parameters and its suites, with counted references.
#pragma once

#include <string>
#include <vector>

#include "host/records.h"

namespace standin {

/// The real host's tick rate: it divides by the usual frame rates.
constexpr int64_t kTicksPerSecond = 254016000000;

/// The parameters that go with every call. Valid for the life of the process.
qx::host::StdParms* StandardParameters();

/// Language string that the host answers, at most 5 characters; "en_US" at first.
void SetHostLanguage(const std::string& language);

/// A suite that the host will refuse from now on; "" for none.
void RefuseSuite(const std::string& name);

/// "name version: count" of every suite that was acquired more often than released.
std::vector<std::string> AcquiredSuites();

/// Paths that the plug-in asked the host to read again.
std::vector<std::u16string> RefreshedFiles();

}  // namespace standin
