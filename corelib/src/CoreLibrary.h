// Umbrella header: includes every public header of the library.
#ifndef CORELIB_CORELIBRARY_H
#define CORELIB_CORELIBRARY_H

#include "Formats/AppendOnlyFile.h"
#include "IO/Checksums.h"
#include "IO/DataBuffer.h"
#include "IO/Encodings.h"
#include "IO/ObjectStore.h"
#include "Utilities/Assert.h"

#endif
