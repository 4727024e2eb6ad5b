// A recording's health for people and for programs.
#pragma once

#include <string>

#include "health.h"

namespace tool {

/// One screen of text; long lists are cut with a count of the rest.
std::string HealthText(const std::string& path, const Health& health);
/// Everything, as JSON.
std::string HealthJson(const std::string& path, const Health& health);

}  // namespace tool
