// The texts of the XML library's statuses.
#include "ravo_xml_status.h"

const char* ravo_xml_status_text(int status) {
  switch (status) {
    case RAVO_XML_OK:
      return "OK";
    case RAVO_XML_INVALID_ARGUMENT:
      return "invalid argument";
    case RAVO_XML_TOO_LONG:
      return "the XML text is too long";
    case RAVO_XML_NOT_WELL_FORMED:
      return "the XML text is not well formed";
    case RAVO_XML_NOT_OF_SCHEMA:
      return "the XML text is not of the schema";
    case RAVO_XML_NO_MEMORY:
      return "no memory";
    default:
      return "unknown status";
  }
}
