#pragma once

// Values that several owners share until one of them changes its own.

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace core {

/// Counts the `Shared` pointers to an object. A copy starts with none.
class Counted {
public:
    Counted() noexcept = default;
    Counted(const Counted&) noexcept {}
    Counted& operator=(const Counted&) noexcept { return *this; }

private:
    template <class T>
    friend class Shared;
    mutable std::atomic<std::size_t> owners = 0;
};

/// A counted pointer that can tell whether it is the only one: who holds it alone may
/// change the object, because no other thread can come to it.
///
/// `std::shared_ptr` can't: its count says nothing about what the last other owner has
/// read before it let go.
template <class T>
class Shared {
public:
    Shared() noexcept = default;
    template <class... Arguments>
    static Shared Make(Arguments&&... arguments) {
        return Shared(new T(std::forward<Arguments>(arguments)...));
    }
    Shared(const Shared& other) noexcept : object(other.object) {
        if (object != nullptr) {
            object->owners.fetch_add(1, std::memory_order_relaxed);
        }
    }
    Shared(Shared&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    Shared& operator=(Shared other) noexcept {
        std::swap(object, other.object);
        return *this;
    }
    ~Shared() {
        if (object != nullptr && object->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
#ifndef __clang_analyzer__  // it does not follow the count, and sees uses after the end
            delete object;
#endif
        }
    }

    /// One more pointer to an object that has one; null for null.
    static Shared Of(T* owned) noexcept {
        Shared one = Adopt(owned);
        Shared another = one;
        one.Release();
        return another;
    }
    /// Takes over what `Release` has let go.
    static Shared Adopt(T* released) noexcept {
        Shared adopted;
        adopted.object = released;
        return adopted;
    }
    /// The object, which stays counted.
    T* Release() noexcept {
        return std::exchange(object, nullptr);
    }

    bool IsAlone() const noexcept {
        return object->owners.load(std::memory_order_acquire) == 1;
    }
    /// The object, to be changed; a copy of its own where it is shared.
    T& Own() {
        if (!IsAlone()) {
            *this = Make(static_cast<const T&>(*object));
        }
        return *object;
    }

    T* get() const noexcept {
        return object;
    }
    T* operator->() const noexcept {
        return object;
    }
    T& operator*() const noexcept {
        return *object;
    }
    explicit operator bool() const noexcept {
        return object != nullptr;
    }

private:
    explicit Shared(T* made) noexcept : object(made) {
        object->owners.store(1, std::memory_order_relaxed);
    }

    T* object = nullptr;
};

/// A value that follows from the object that it is a member of, made when it is first
/// asked for. Threads that ask at once may each make it, and one of theirs is kept. A
/// copy starts without.
template <class T>
class Lazy {
public:
    Lazy() noexcept = default;
    Lazy(const Lazy&) noexcept {}
    Lazy& operator=(const Lazy&) = delete;
    ~Lazy() { Reset(); }

    /// Null while there is none.
    T* Peek() const noexcept { return value.load(std::memory_order_acquire); }
    /// `make` answers a `std::unique_ptr<T>`.
    template <class Make>
    const T& Get(const Make& make) const {
        T* found = Peek();
        if (found == nullptr) {
            std::unique_ptr<T> made = make();
            if (value.compare_exchange_strong(found, made.get(), std::memory_order_acq_rel)) {
                found = made.release();
            }
        }
        return *found;
    }
    /// To be called by an object's only owner.
    void Reset() noexcept {
        if (const T* const old = Peek()) {
            value.store(nullptr, std::memory_order_relaxed);
            delete old;
        }
    }

private:
    mutable std::atomic<T*> value = nullptr;
};

}  // namespace core
