// Digests of blocks and of values.
#include "ravo_dataset/digest.h"

#include <stdexcept>

#include "binding.h"
#include "ravo_dataset/value_digest.h"

namespace ravo::python {
namespace {

channel_digest digest_from(std::string_view text, std::uint64_t values) {
  const std::optional<channel_digest> made = channel_digest::from_text(text, values);
  if (!made) throw std::invalid_argument("A digest is 32 hexadecimal digits, not " + std::string(text));
  return *made;
}

/// What digests of both kinds have.
template <class Digest>
void bind_one(nb::module_& module, const char* name, const char* doc) {
  nb::class_<Digest>(module, name, doc)
      .def_static(
          "from_text",
          [](std::string_view text, std::uint64_t values) {
            if constexpr (std::is_same_v<Digest, value_digest>) {
              return value_digest::of_sums(digest_from(text, values));
            } else {
              return digest_from(text, values);
            }
          },
          "text"_a, "values"_a, "The digest of so many values whose text this is.")
      .def_prop_ro("text", &Digest::to_text, "32 hexadecimal digits.")
      .def_prop_ro("values", &Digest::values, "How many values it is of.")
      .def(
          "add", [](Digest& self, const Digest& other) { self.add(other); }, "other"_a,
          "Adds the digest of another part of a selection.")
      .def("__str__", &Digest::to_text)
      .def("__repr__",
           [name](const Digest& self) {
             return "<ravo." + std::string(name) + " " + self.to_text() + " of " +
                    std::to_string(self.values()) + " values>";
           })
      .def(
          "__eq__",
          [](const Digest& self, nb::handle other) {
            const Digest* another = nullptr;
            return nb::try_cast(other, another) && another != nullptr && self == *another;
          },
          "other"_a.none(), nb::sig("def __eq__(self, other: object, /) -> bool"))
      .def(
          "__add__",
          [](Digest self, const Digest& other) {
            self.add(other);
            return self;
          },
          "other"_a, "The digest of this part and another one.")
      .def("__hash__", [](const Digest& self) { return std::hash<std::string>()(self.to_text()); });
}

std::string digests_to_json(const nb::typed<nb::dict, nb::str, channel_digest>& digests) {
  std::vector<named_digest> named;
  for (const auto& [channel, digest] : digests)
    named.push_back({nb::cast<std::string>(channel), nb::cast<channel_digest>(digest)});
  return ravo::digests_to_json(named);
}

nb::dict digests_from_json(std::string_view text) {
  nb::dict digests;
  for (const named_digest& one : ravo::digests_from_json(text))
    digests[nb::str(one.channel.c_str(), one.channel.size())] = nb::cast(one.digest);
  return digests;
}

}  // namespace

void bind_digest(nb::module_& module) {
  bind_one<channel_digest>(
      module, "Digest",
      "A fingerprint of what was read of a channel: events, statuses and bytes of blocks.");
  bind_one<value_digest>(module, "ValueDigest",
                         "A fingerprint of a channel's values, whatever file or format holds them.");
  module.def("digests_to_json", &digests_to_json, "digests"_a,
             "The digests of channels as a line of JSON.");
  module.def("digests_from_json", &digests_from_json, "text"_a,
             nb::sig("def digests_from_json(text: str) -> dict[str, Digest]"),
             "What digests_to_json() was given. Raises JsonError for any other text.");
}

}  // namespace ravo::python
