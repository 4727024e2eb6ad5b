#include "tools/common/command_line.h"

namespace tool {

CommandLine::CommandLine(int argc, char** argv) : pointers_(argv, argv + argc) {}

}  // namespace tool
