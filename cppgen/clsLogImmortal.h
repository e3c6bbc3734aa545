#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace CLS_Debug {

/// Holds an object that is built on first use and never destroyed, so that logging works before
/// main, in static destructors and in threads that outlive main. Meant for function-local statics.
template <class T>
class Immortal {
public:
    template <class... Arguments>
    explicit Immortal(Arguments&&... arguments) {
        std::construct_at(&get(), std::forward<Arguments>(arguments)...);
    }
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T& get() { return *std::launder(reinterpret_cast<T*>(m_storage)); }

private:
    alignas(T) std::byte m_storage[sizeof(T)];
};

} // namespace CLS_Debug
