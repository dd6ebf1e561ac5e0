// The guard for mappings of files that are truncated: the list of mappings, which a signal handler can read
// at any moment, and the handler.
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>

#include "mapping.h"
#include "ravo_mapping_guard.h"

namespace ravo::guarded_mappings {
namespace {

// A slot for one mapping. `base` is set last and cleared first.
struct slot {
  std::atomic<std::uintptr_t> base{0};
  std::atomic<std::size_t> size{0};
  std::atomic<bool> is_damaged{false};
};

constexpr std::uintptr_t reserved = 1;  // no mapping begins there

// Lists grow and never shrink: a handler may be walking them.
struct slots {
  static constexpr int count = 256;
  slot of[count];
  std::atomic<slots*> next{nullptr};
};

slots first_slots;
std::atomic<unsigned long> missing_pages{0};
static_assert(std::atomic<std::uintptr_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

template <class Wanted>
slot* find(Wanted wanted) {
  for (slots* part = &first_slots; part != nullptr; part = part->next)
    for (slot& one : part->of)
      if (wanted(one)) return &one;
  return nullptr;
}

slot* find_base(const void* base) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(base);
  if (wanted <= reserved) return nullptr;
  return find([wanted](const slot& one) { return one.base == wanted; });
}

slot* take_slot() {
  const auto take = [](slot& one) {
    std::uintptr_t free = 0;
    return one.base.load(std::memory_order_relaxed) == 0 &&
           one.base.compare_exchange_strong(free, reserved);
  };
  if (slot* found = find(take)) return found;
  auto* more = new (std::nothrow) slots;
  if (more == nullptr) return nullptr;
  more->of[0].base = reserved;
  slots* last = &first_slots;
  for (slots* none = nullptr; !last->next.compare_exchange_strong(none, more); none = nullptr)
    last = last->next;
  return &more->of[0];
}

// ---- the handler: it uses only atomics and system calls

struct sigaction handler_before;
std::atomic<bool> is_installed{false};

bool replace_missing_page(const siginfo_t& fault) {
  const auto at = reinterpret_cast<std::uintptr_t>(fault.si_addr);
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  slot* const hit = find([at, page](const slot& one) {
    const std::uintptr_t base = one.base;
    return base > reserved && at >= base && at - base < (one.size + page - 1) / page * page;
  });
  if (hit == nullptr) return false;
  void* const where = reinterpret_cast<void*>(at / page * page);
  if (mmap(where, page, PROT_READ, MAP_FIXED | MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED)
    return false;
  hit->is_damaged = true;
  ++missing_pages;
  return true;
}

void hand_on(int signal_number, siginfo_t* fault, void* context) {
  if ((handler_before.sa_flags & SA_SIGINFO) != 0)
    return handler_before.sa_sigaction(signal_number, fault, context);
  if (handler_before.sa_handler != SIG_DFL && handler_before.sa_handler != SIG_IGN)
    return handler_before.sa_handler(signal_number);
  // A fault cannot be ignored: the access faults again, and ends the process.
  struct sigaction end {};
  end.sa_handler = SIG_DFL;
  sigaction(signal_number, &end, nullptr);
}

void handle(int signal_number, siginfo_t* fault, void* context) {
  const int error = errno;
  if (fault->si_code != BUS_ADRERR || !replace_missing_page(*fault)) hand_on(signal_number, fault, context);
  errno = error;
}

}  // namespace

void add(const void* base, std::size_t size) {
  slot* const free = take_slot();
  if (free == nullptr) return;
  free->size = size;
  free->is_damaged = false;
  free->base = reinterpret_cast<std::uintptr_t>(base);
}

void remove(const void* base) {
  if (slot* const found = find_base(base)) found->base = 0;
}

bool is_damaged(const void* base) {
  if (missing_pages.load(std::memory_order_relaxed) == 0) return false;
  const slot* const found = find_base(base);
  return found != nullptr && found->is_damaged;
}

}  // namespace ravo::guarded_mappings

using namespace ravo::guarded_mappings;

int ravo_install_mapping_guard() {
  if (is_installed) return 0;
  struct sigaction guard {};
  guard.sa_sigaction = &handle;
  guard.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&guard.sa_mask);
  // The old handler is known before the guard can need it.
  if (sigaction(SIGBUS, nullptr, &handler_before) != 0 || sigaction(SIGBUS, &guard, nullptr) != 0)
    return errno;
  is_installed = true;
  return 0;
}

int ravo_remove_mapping_guard() {
  if (!is_installed) return 0;
  struct sigaction now {};
  if (sigaction(SIGBUS, nullptr, &now) != 0) return errno;
  if ((now.sa_flags & SA_SIGINFO) == 0 || now.sa_sigaction != &handle) return EBUSY;
  if (sigaction(SIGBUS, &handler_before, nullptr) != 0) return errno;
  is_installed = false;
  return 0;
}

unsigned long ravo_get_missing_pages() { return missing_pages; }
