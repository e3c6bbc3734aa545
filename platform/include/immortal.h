#pragma once

#include <cstddef>
#include <memory>
#include <utility>

/// An object that is never destroyed, for state that static destructors and detached threads may
/// still use while the process ends. Meant for function-local statics.
template <class T>
class Immortal {
public:
    template <class... Arguments>
    explicit Immortal(Arguments&&... arguments)
        : m_object(std::construct_at(static_cast<T*>(static_cast<void*>(m_storage)),
                                     std::forward<Arguments>(arguments)...)) {}
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T& operator*() { return *m_object; }
    T* operator->() { return m_object; }

private:
    alignas(T) std::byte m_storage[sizeof(T)];
    T* m_object;
};
