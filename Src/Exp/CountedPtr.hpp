// A one-word shared pointer for the payloads of structured values (strings,
// tabs, maps, interpolated maps, nims, closures). The count and the object
// share one allocation made by `make_counted`; the pointer is a single
// address, so a value holding one still fits three words. The count is
// atomic because values cross threads (the audio callback and the control
// thread); while the process has a single thread it changes with plain
// arithmetic, as `std::shared_ptr` does with the C library's flag. The
// object's destruction goes through a function recorded at allocation, so
// copying and releasing need only a declaration of the pointee's class.
#pragma once

#include <atomic>
#include <cassert>
#include <cstddef>
#include <utility>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define CAD_KNOWS_SINGLE_THREADED 1
#endif

namespace counted_detail {

// The C library clears its flag for good before a second thread starts, so
// plain arithmetic under it never races.
inline bool single_threaded() noexcept {
#ifdef CAD_KNOWS_SINGLE_THREADED
    return __libc_single_threaded;
#else
    return false;
#endif
}

struct Header {
    long count = 1;
    void (*destroy)(Header*) noexcept = nullptr;

    void retain() noexcept {
        if (single_threaded())
            ++count;
        else
            std::atomic_ref<long>(count).fetch_add(1, std::memory_order_relaxed);
    }
    // Whether this was the last owner. The acquire half makes every other
    // owner's writes to the object visible to the one that destroys it.
    bool drop() noexcept {
        if (single_threaded()) return --count == 0;
        return std::atomic_ref<long>(count).fetch_sub(1, std::memory_order_acq_rel) == 1;
    }
    long owners() noexcept { return std::atomic_ref<long>(count).load(std::memory_order_relaxed); }
};

template <class T>
struct Node final : Header {
    template <class... Args>
    explicit Node(Args&&... args)
        : object(std::forward<Args>(args)...) {}
    T object;
};

} // namespace counted_detail

template <class T>
class CountedPtr {
public:
    CountedPtr() noexcept = default;
    CountedPtr(std::nullptr_t) noexcept {}
    CountedPtr(const CountedPtr& o) noexcept
        : header(o.header) {
        if (header) header->retain();
    }
    CountedPtr(CountedPtr&& o) noexcept
        : header(std::exchange(o.header, nullptr)) {}
    CountedPtr& operator=(CountedPtr o) noexcept {
        std::swap(header, o.header);
        return *this;
    }
    ~CountedPtr() { release(); }

    T* get() const noexcept { return header ? &node()->object : nullptr; }
    T& operator*() const noexcept {
        assert(header && "dereference of a null counted pointer");
        return node()->object;
    }
    T* operator->() const noexcept {
        assert(header && "dereference of a null counted pointer");
        return &node()->object;
    }
    explicit operator bool() const noexcept { return header != nullptr; }
    long use_count() const noexcept { return header ? header->owners() : 0; }

    friend bool operator==(const CountedPtr& a, const CountedPtr& b) noexcept { return a.header == b.header; }
    friend bool operator==(const CountedPtr& a, std::nullptr_t) noexcept { return a.header == nullptr; }

    template <class U, class... Args>
    friend CountedPtr<U> make_counted(Args&&... args);

private:
    using Node = counted_detail::Node<T>;

    Node* node() const noexcept { return static_cast<Node*>(header); }

    void release() noexcept {
        if (header && header->drop()) header->destroy(header);
    }

    counted_detail::Header* header = nullptr;
};

// A new object of class T shared by the returned pointer alone.
template <class T, class... Args>
CountedPtr<T> make_counted(Args&&... args) {
    auto* node = new counted_detail::Node<T>(std::forward<Args>(args)...);
    node->destroy = [](counted_detail::Header* h) noexcept {
        delete static_cast<counted_detail::Node<T>*>(h);
    };
    CountedPtr<T> p;
    p.header = node;
    return p;
}
