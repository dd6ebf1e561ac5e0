// What the statuses of this implementation's ravo_load_chan_descr mean. It is apart from ravo_xml.h
// because only 0 and non-zero are common to every XML library; these values serve people and tests.
#ifndef RAVO_XML_STATUS_H
#define RAVO_XML_STATUS_H

#include "ravo_export.h"

enum ravo_xml_status : int {
  RAVO_XML_OK = 0,
  RAVO_XML_INVALID_ARGUMENT = 301,  ///< a null pointer, or a header of another kind
  RAVO_XML_TOO_LONG = 302,          ///< more text than the descriptions of any file need
  RAVO_XML_NOT_WELL_FORMED = 303,   ///< not XML in UTF-8, or with a document type
  RAVO_XML_NOT_OF_SCHEMA = 304,     ///< elements, attributes or values that are not in the schema
  RAVO_XML_NO_MEMORY = 305,
};

/// A short text for a status, for messages; never null.
RAVO_EXPORT const char* ravo_xml_status_text(int status);

#endif
