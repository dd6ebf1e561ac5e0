// A raw file opened the way a reader opens it: descriptor, length, a mapping of the tail's page, and
// owners for the tables that come back. Damage is done to the bytes before they are written.
#ifndef RAVO_TEST_OPEN_FILE_H
#define RAVO_TEST_OPEN_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bytes.h"
#include "generations.h"
#include "ravo_evutl.h"
#include "ravo_evutl_status.h"

namespace ravo::test {

struct free_table {
  void operator()(void* table) const { std::free(table); }
};
template <class T>
using table = std::unique_ptr<T, free_table>;

/// A status and the table that came with it.
template <class T>
struct loaded {
  int status;
  table<T> content;
};

template <class generation>
class open_file {
 public:
  using dictionary_table = typename generation::dictionary_table;

  explicit open_file(const bytes& content) : fd_(memfd_create("ravo_test", 0)) {
    if (fd_ < 0) throw std::runtime_error("no memory file");
    write(content);
  }
  ~open_file() { close(fd_); }
  open_file(const open_file&) = delete;
  open_file& operator=(const open_file&) = delete;

  void write(const bytes& content) {
    length_ = static_cast<long>(content.size());
    if (ftruncate(fd_, length_) != 0 ||
        pwrite(fd_, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()))
      throw std::runtime_error("cannot write the memory file");
  }

  int fd() const { return fd_; }
  long length() const { return length_; }

  loaded<ravo_file_reference_table> reference() const {
    ravo_file_reference_table* result = nullptr;
    if (length_ < 4) {
      const unsigned char nothing[4] = {};
      const int status = generation::get_reference(nothing, length_, length_, fd_, &result);
      return {status, table<ravo_file_reference_table>(result)};
    }
    long rem = 0;
    const long aligned = ravo_get_page_offset(length_, length_ - 4, &rem);
    const std::size_t size = static_cast<std::size_t>(length_ - aligned);
    void* tail = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd_, aligned);
    if (tail == MAP_FAILED) throw std::runtime_error("cannot map the tail");
    const int status = generation::get_reference(static_cast<const unsigned char*>(tail),
                                                 static_cast<long>(size), length_, fd_, &result);
    munmap(tail, size);
    return {status, table<ravo_file_reference_table>(result)};
  }

  loaded<ravo_event_index_table> event_index(const ravo_file_reference_table& reference) const {
    return load<ravo_event_index_table>(generation::get_event_index, reference);
  }
  loaded<dictionary_table> dictionary(const ravo_file_reference_table& reference) const {
    return load<dictionary_table>(generation::get_dictionary, reference);
  }
  loaded<ravo_event_chan_pointers_table> pointers(const ravo_file_reference_table& reference) const {
    return load<ravo_event_chan_pointers_table>(generation::get_pointers, reference);
  }
  loaded<ravo_env_dictionary_table> environment(const ravo_file_reference_table& reference) const {
    return load<ravo_env_dictionary_table>(generation::get_environment, reference);
  }
  loaded<ravo_xml_chan_descr_header> descriptions(const ravo_file_reference_table& reference) const {
    return load<ravo_xml_chan_descr_header>(generation::get_descriptions, reference);
  }
  loaded<ravo_event_chan_pointers_table> pointers_by_list(const ravo_file_reference_table& reference,
                                                          const dictionary_table& dictionary,
                                                          std::vector<std::string> names) const {
    std::vector<char*> list;
    for (std::string& name : names) list.push_back(name.data());
    ravo_event_chan_pointers_table* result = nullptr;
    const int status =
        generation::get_pointers_by_list(length_, &reference, fd_, &list, &dictionary, &result);
    return {status, table<ravo_event_chan_pointers_table>(result)};
  }

 private:
  template <class T, class Operation>
  loaded<T> load(Operation operation, const ravo_file_reference_table& reference) const {
    T* result = nullptr;
    const int status = operation(length_, &reference, fd_, &result);
    return {status, table<T>(result)};
  }

  int fd_;
  long length_ = 0;
};

}  // namespace ravo::test

#endif
