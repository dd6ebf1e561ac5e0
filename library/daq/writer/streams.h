// Which stream of the spool holds what.
#ifndef RAVO_WRITER_STREAMS_H
#define RAVO_WRITER_STREAMS_H

#include <cstddef>

namespace ravo::writer {

inline constexpr std::size_t stream_of_event_headers = 0;
inline constexpr std::size_t stream_of_server_blocks = 1;
inline constexpr std::size_t stream_of_channel(std::size_t index) { return 2 + index; }

}  // namespace ravo::writer

#endif
