// Prints the headers of an event, of a server block, of a channel's block and of compressed data.
#include <cstdio>

#include "format/print_text.h"
#include "ravo_evutl.h"

namespace {

// For both generations; they differ in the size of the name field.
template <class server_block_head>
void print_server_block(const server_block_head* header) try {
  if (!header) {
    std::printf("server block: none\n");
    return;
  }
  std::printf("server block: server \"%s\"  channels %d  length %d\n",
              ravo::printable(header->server, sizeof header->server).c_str(), header->nchan,
              header->ltotal);
  std::printf("  time %s\n", ravo::time_and_words_text(header->time).c_str());
  std::printf("  macro-pulse %d  tmask 0x%x  status %s\n", header->mpulse,
              static_cast<unsigned>(header->tmask), ravo::error_text(header->status).c_str());
} catch (...) {
}

template <class subhead>
void print_subhead(const subhead* header) try {
  if (!header) {
    std::printf("channel block: none\n");
    return;
  }
  std::printf("channel block: channel \"%s\"  type %s\n",
              ravo::printable(header->chname, sizeof header->chname).c_str(),
              ravo::data_type_text(header->dtype).c_str());
  std::printf("  length %d  error %s\n", header->ldata, ravo::error_text(header->error).c_str());
} catch (...) {
}

}  // namespace

void print_ravo_zip_header(const ravo_zip_header* header) {
  if (!header) {
    std::printf("zip header: none\n");
    return;
  }
  const char* method = header->zip_flags & RAVO_ZIP_ZLIB    ? "zlib"
                       : header->zip_flags & RAVO_ZIP_LZO1X ? "LZO1X"
                                                            : "unknown compressor";
  std::printf("zip header: flags 0x%x (%s)  original length %u  compressed length %u\n", header->zip_flags,
              method, header->orig_length, header->zipp_length);
}

void dump_event_header_(const ravo_eventheader* header) try {
  if (!header) {
    std::printf("event header: none\n");
    return;
  }
  const int type = static_cast<int>(header->event_type);
  std::printf("event header: event %u  type %d (%s)  pattern 0x%08x\n", header->event_number, type,
              event_name_itoa(type), header->pattern);
  std::printf("  time %s\n", ravo::time_and_words_text(header->event_time).c_str());
  std::printf("  length %u  server blocks %d  tmask 0x%x  status 0x%x\n", header->event_length,
              header->num_svr_block, static_cast<unsigned>(header->tmask),
              static_cast<unsigned>(header->status));
} catch (...) {
}

void dump_event_subheader_2010(const ravo_serv_block_head_2010* header) { print_server_block(header); }
void dump_event_subheader(const ravo_serv_block_head* header) { print_server_block(header); }

void dump_event_chanhead_2010(const ravo_serv_block_subhead_2010* header) { print_subhead(header); }
void dump_event_chanhead(const ravo_serv_block_subhead* header) { print_subhead(header); }
