// The XML classes the IO tests build documents with.
#pragma once

#include "IO/XML.h"

using Core::IO::XMLAttribute;
using Core::IO::XMLData;
using Core::IO::XMLDocument;
using Core::IO::XMLEndNode;
using Core::IO::XMLNode;
using Core::IO::XMLStartNode;
