#include "tools/miravex/command_line.h"

int main(int argc, char** argv) { return miravex::tool::runTool(argc, argv); }
