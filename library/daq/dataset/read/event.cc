// What programs see of the events that a detail::event_reader reads.
#include "ravo_dataset/event.h"

#include "read/event_reader.h"

namespace ravo {

std::size_t event::channels() const { return batch_->state().channels.size(); }
value event::operator[](std::size_t channel) const {
  if (channel >= channels())
    throw access_error("The event has " + std::to_string(channels()) +
                       " channels, counted from 0, and channel " + std::to_string(channel) +
                       " was asked for");
  return batch_->at(index_, channel);
}
value event::operator[](std::string_view label) const {
  return batch_->at(index_, batch_->state().channels.find_or_throw(label));
}

event_range::event_range(std::unique_ptr<detail::event_reader> reader) : reader_(std::move(reader)) {}
event_range::event_range(event_range&&) noexcept = default;
event_range& event_range::operator=(event_range&&) noexcept = default;
event_range::~event_range() = default;

event_range::iterator event_range::begin() {
  if (!begun_) advance();
  begun_ = true;
  return iterator(this);
}

void event_range::advance() {
  current_.reset();  // before the next one is made, which may need its memory
  current_ = reader_->next();
}

std::optional<event> event_range::next() {
  begun_ = true;
  current_.reset();
  return reader_->next();
}

read_ledger event_range::ledger() const { return reader_->ledger(); }

}  // namespace ravo
