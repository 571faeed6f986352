#include "Utilities/LibraryVersion.h"

namespace Core
{
namespace Utilities
{

// The macros are expanded here, inside the library, so that these functions
// report the library that is loaded rather than the headers of the caller.
std::string GetLibraryVersion()
{
    return CORELIB_VERSION_STRING;
}

std::string GetLibraryRevision()
{
    return CORELIB_VERSION_REVISION;
}

} // namespace Utilities
} // namespace Core
