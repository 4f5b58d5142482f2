// A non-owning reference to something callable, two words wide: what the
// tree walks hand to `Expression::for_each_child`. Unlike `std::function` it
// never allocates; the callable must outlive the call that receives it.
#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

template <class Signature>
class FunctionRef;

// Something callable with `Args` giving R, other than a FunctionRef itself.
template <class F, class Self, class R, class... Args>
concept CallableAs = !std::is_same_v<std::remove_cvref_t<F>, Self> && std::is_invocable_r_v<R, F&, Args...>;

template <class R, class... Args>
class FunctionRef<R(Args...)> {
public:
    template <CallableAs<FunctionRef, R, Args...> F>
    FunctionRef(F&& f) noexcept
        : object(const_cast<void*>(static_cast<const void*>(std::addressof(f))))
        , trampoline([](void* o, Args... args) -> R {
            return std::invoke(*static_cast<std::remove_reference_t<F>*>(o), std::forward<Args>(args)...);
        }) {}

    R operator()(Args... args) const { return trampoline(object, std::forward<Args>(args)...); }

private:
    void* object;
    R (*trampoline)(void*, Args...);
};
