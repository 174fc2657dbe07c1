#pragma once

namespace miravex::tool {

/// The whole tool: parses the command line, runs the command, tells failures, returns the exit status.
int runTool(int argc, const char* const* argv);

} // namespace miravex::tool
