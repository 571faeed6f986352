// Umbrella header: includes every public header of the library.
#ifndef CORELIB_CORELIBRARY_H
#define CORELIB_CORELIBRARY_H

#include "Utilities/Assert.h"
#include "Utilities/CrashHandler.h"
#include "Utilities/FileCopy.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/LibraryVersion.h"
#include "Utilities/Profiler.h"
#include "Utilities/StaticSingleton.h"
#include "Utilities/StringUtilities.h"
#include "Utilities/Time.h"
#include "Utilities/UTF8.h"
#include "Utilities/Version.h"

#include "Maths/Geometry.h"
#include "Maths/LinearInterpolator.h"
#include "Maths/Maths.h"
#include "Maths/Random.h"
#include "Maths/Sun.h"
#include "Maths/Transformation.h"
#include "Maths/TransformationStack.h"
#include "Maths/Vector.h"

#include "Threading/FSM.h"
#include "Threading/Functor.h"
#include "Threading/Mutex.h"
#include "Threading/Thread.h"
#include "Threading/WorkerThread.h"

#include "IO/BinaryIO.h"
#include "IO/Checksums.h"
#include "IO/DataBuffer.h"
#include "IO/Encodings.h"
#include "IO/NmeaParser.h"
#include "IO/ObjectStore.h"
#include "IO/Serial.h"
#include "IO/Tokeniser.h"
#include "IO/XML.h"

#include "Formats/AppendOnlyFile.h"
#include "Formats/KMLWriter.h"

#include "Guidance/PolyLine.h"
#include "Guidance/PolyLineOffset.h"
#include "Guidance/PolySpline.h"

#endif
