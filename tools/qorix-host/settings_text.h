// A clip's settings as words: for the command line and for people.
#pragma once

#include <string>

#include "standin/prefs_block.h"

namespace tool {

/// The keys and values that ApplyEdit takes, for a help text.
extern const char* const kSettingsKeysHelp;

/// Changes one setting by "key=value". False with the reason.
bool ApplyEdit(const std::string& text, standin::BlockSettings* settings, std::string* error);

/// Prints the settings as a table.
void PrintSettings(const standin::BlockSettings& settings);

}  // namespace tool
