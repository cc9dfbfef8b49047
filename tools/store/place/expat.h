// expat, loaded when the first answer of a bucket is read.
#pragma once

#include <expat.h>

#ifdef EXPAT_LIBRARY
#include "platform/late_library.h"

#define XML_Parse LATE_FUNCTION(EXPAT_LIBRARY, XML_Parse)
#define XML_ParserCreate LATE_FUNCTION(EXPAT_LIBRARY, XML_ParserCreate)
#define XML_ParserFree LATE_FUNCTION(EXPAT_LIBRARY, XML_ParserFree)
#define XML_SetCharacterDataHandler LATE_FUNCTION(EXPAT_LIBRARY, XML_SetCharacterDataHandler)
#define XML_SetElementHandler LATE_FUNCTION(EXPAT_LIBRARY, XML_SetElementHandler)
#define XML_SetUserData LATE_FUNCTION(EXPAT_LIBRARY, XML_SetUserData)
#endif
