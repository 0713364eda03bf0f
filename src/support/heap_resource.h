// The heap, for containers that take their memory from a resource.
#ifndef WZAPP_SUPPORT_HEAP_RESOURCE_H
#define WZAPP_SUPPORT_HEAP_RESOURCE_H

#include <cstddef>
#include <memory_resource>
#include <new>

namespace wzapp {

// Takes memory by the plain operator new, as everything else here does. The standard library's own
// resource takes it by the operator for aligned memory, which a host that replaces operator new, to
// count or to limit, seldom replaces with it. For types without an alignment of their own. The only
// exception is std::bad_alloc. Any thread may call.
class HeapResource final : public std::pmr::memory_resource {
 private:
  void* do_allocate(std::size_t octets, std::size_t /*alignment*/) override {
    return ::operator new(octets);
  }
  void do_deallocate(void* memory, std::size_t /*octets*/, std::size_t /*alignment*/) override {
    ::operator delete(memory);
  }
  [[nodiscard]] bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
    return this == &other;
  }
};

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_HEAP_RESOURCE_H
