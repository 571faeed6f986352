// guidance: drives the library from positioning input to guidance records and
// exports. The commands live in the guidance_tool library (Tool.h).
#include "Tool.h"
#include "Utilities/CrashHandler.h"

int main(int argc, char** argv)
{
    Core::Patterns::StaticSingleton<Core::Utilities::CrashHandler>::ref().Enable("guidance");
    return GuidanceTool::RunTool(argc, argv);
}
