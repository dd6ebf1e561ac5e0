// The XML library: converts channel descriptions to and from the XML text in a raw file. The schema is
// in docs/raw-format.md.
#ifndef RAVO_XML_H
#define RAVO_XML_H

#include <string>
#include <vector>

#include "ravo_export.h"
#include "ravo_raw_format.h"

/// Turns the XML channel description header of a file into descriptions, appended to the list: one per
/// described channel, allocated with new, the elements of its bits and dims also with new; the caller
/// deletes them. Non-zero when the text is not well formed or does not follow the schema: the list is
/// then unchanged.
RAVO_EXPORT int ravo_load_chan_descr(const ravo_xml_chan_descr_header_2010* header,
                                     std::vector<chan_descr_2010*>* descriptions);

/// The most bytes that ravo_load_chan_descr takes for a header, with the descriptions that it returns; the
/// header's own bytes are not counted. It scans the text and allocates nothing. Optional: a site's library
/// need not have it. The function is declared weak, and is null if the library lacks it.
[[gnu::weak]] RAVO_EXPORT unsigned long ravo_get_chan_descr_memory(
    const ravo_xml_chan_descr_header_2010* header);

/// The XML text of descriptions as it is in a raw file (without the header's pattern and length).
/// Throws only std::bad_alloc.
RAVO_EXPORT std::string ravo_store_chan_descr(const std::vector<chan_descr_2010*>& descriptions);

/// Deletes descriptions with the elements of their bits and dims, and empties the list.
RAVO_EXPORT void ravo_free_chan_descr(std::vector<chan_descr_2010*>* descriptions);

#endif
