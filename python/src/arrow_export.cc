#include "arrow_export.h"

#include <cerrno>

// The interface fixes these names and members.
extern "C" {
struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  std::int64_t flags;
  std::int64_t n_children;
  ArrowSchema** children;
  ArrowSchema* dictionary;
  void (*release)(ArrowSchema*);
  void* private_data;
};
struct ArrowArray {
  std::int64_t length;
  std::int64_t null_count;
  std::int64_t offset;
  std::int64_t n_buffers;
  std::int64_t n_children;
  const void** buffers;
  ArrowArray** children;
  ArrowArray* dictionary;
  void (*release)(ArrowArray*);
  void* private_data;
};
struct ArrowArrayStream {
  int (*get_schema)(ArrowArrayStream*, ArrowSchema*);
  int (*get_next)(ArrowArrayStream*, ArrowArray*);
  const char* (*get_last_error)(ArrowArrayStream*);
  void (*release)(ArrowArrayStream*);
  void* private_data;
};
}

namespace ravo::python {
namespace {

constexpr std::int64_t nullable_flag = 2;

/// What a structure of the interface points to. A consumer may move a child out and release it later: then
/// its `release` is null here.
template <class Structure>
struct kept_parts {
  std::string format;
  std::string name;
  std::vector<const void*> buffers;
  std::vector<std::shared_ptr<const void>> memory;
  std::vector<Structure> children;
  std::vector<Structure*> pointers;

  ~kept_parts() {
    for (Structure& child : children) {
      if (child.release != nullptr) child.release(&child);
    }
  }
  void point_to_children() {
    for (Structure& child : children) pointers.push_back(&child);
  }
};

template <class Structure>
void release(Structure* structure) {
  delete static_cast<kept_parts<Structure>*>(structure->private_data);
  structure->release = nullptr;
}

ArrowSchema schema_of(const arrow_node& node) {
  auto parts = std::make_unique<kept_parts<ArrowSchema>>();
  parts->format = node.format;
  parts->name = node.name;
  for (const arrow_node& child : node.children) parts->children.push_back(schema_of(child));
  parts->point_to_children();
  ArrowSchema schema{};
  schema.format = parts->format.c_str();
  schema.name = parts->name.c_str();
  schema.flags = node.is_nullable ? nullable_flag : 0;
  schema.n_children = static_cast<std::int64_t>(parts->pointers.size());
  schema.children = parts->pointers.data();
  schema.release = &release<ArrowSchema>;
  schema.private_data = parts.release();
  return schema;
}

ArrowArray array_of_node(const arrow_node& node) {
  auto parts = std::make_unique<kept_parts<ArrowArray>>();
  parts->buffers = node.buffers;
  parts->memory = node.memory;
  for (const arrow_node& child : node.children) parts->children.push_back(array_of_node(child));
  parts->point_to_children();
  ArrowArray array{};
  array.length = node.length;
  array.null_count = node.null_count;
  array.n_buffers = static_cast<std::int64_t>(parts->buffers.size());
  array.buffers = parts->buffers.data();
  array.n_children = static_cast<std::int64_t>(parts->pointers.size());
  array.children = parts->pointers.data();
  array.release = &release<ArrowArray>;
  array.private_data = parts.release();
  return array;
}

/// A structure on the heap in a capsule, which releases what its consumer has not moved out.
template <class Structure>
nb::object capsule_of(const Structure& structure, const char* name) {
  auto kept = std::make_unique<Structure>(structure);
  PyObject* capsule = PyCapsule_New(kept.get(), name, [](PyObject* dying) {
    auto* owned = static_cast<Structure*>(PyCapsule_GetPointer(dying, PyCapsule_GetName(dying)));
    if (owned->release != nullptr) owned->release(owned);
    delete owned;
  });
  if (capsule == nullptr) {
    kept->release(kept.get());
    throw nb::python_error();
  }
  kept.release();
  return nb::steal(capsule);
}

struct one_batch {
  arrow_node node;
  bool is_delivered = false;
};

one_batch& batch_of(ArrowArrayStream* stream) { return *static_cast<one_batch*>(stream->private_data); }

int get_schema(ArrowArrayStream* stream, ArrowSchema* into) {
  try {
    *into = schema_of(batch_of(stream).node);
    return 0;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

int get_next(ArrowArrayStream* stream, ArrowArray* into) {
  one_batch& batch = batch_of(stream);
  try {
    *into = batch.is_delivered ? ArrowArray{} : array_of_node(batch.node);
    batch.is_delivered = true;
    return 0;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

void release_stream(ArrowArrayStream* stream) {
  delete &batch_of(stream);
  stream->release = nullptr;
}

}  // namespace

nb::object schema_capsule(const arrow_node& node) { return capsule_of(schema_of(node), "arrow_schema"); }

nb::object array_capsule(const arrow_node& node) { return capsule_of(array_of_node(node), "arrow_array"); }

nb::object stream_capsule(arrow_node node) {
  ArrowArrayStream stream{};
  stream.get_schema = &get_schema;
  stream.get_next = &get_next;
  stream.get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
  stream.release = &release_stream;
  stream.private_data = new one_batch{std::move(node)};
  return capsule_of(stream, "arrow_array_stream");
}

}  // namespace ravo::python
