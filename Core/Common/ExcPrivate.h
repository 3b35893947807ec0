// The throw procedure, used by every throw site of the library:
//   BV_THROW(Class, description)              the function name comes from the compiler
//   BV_THROW_AS(name, Class, description)     where a site records another name: a literal,
//                                             or the caller's from BV_FUNCTION_NAME when a
//                                             helper throws on behalf of a public function
// Both construct the exception, announce it (banner on the debug output, Log, DumpToDbwin) and
// throw a copy of the same class.
#pragma once

#include "Core/Common/Exc.h"

#include <array>
#include <cstddef>
#include <utility>

namespace core::detail {

/// A function's qualified name cut out of the compiler's full signature at compile time:
/// "TStr core::settings::Setting::ValueTStr() const" gives "core::settings::Setting::ValueTStr".
template <std::size_t N>
struct FunctionName {
    std::array<char, N> text{}; // terminated
    [[nodiscard]] constexpr const char* c_str() const { return text.data(); }
};

/// Index of the '(' that opens the parameter list of a signature of `n` characters, or n.
constexpr std::size_t ParameterListStart(const char* sig, std::size_t n) {
    std::size_t end = n;
    for (std::size_t i = 0; i + 6 < n; ++i) { // " [with T = ...]" of templates is not the name
        if (sig[i] == ' ' && sig[i + 1] == '[' && sig[i + 2] == 'w') {
            end = i;
            break;
        }
    }
    while (end > 0 && sig[end - 1] != ')') {
        --end;
    }
    int depth = 0;
    for (std::size_t i = end; i > 0; --i) {
        const char c = sig[i - 1];
        depth += (c == ')') - (c == '(');
        if (depth == 0) {
            return i - 1;
        }
    }
    return n;
}

template <std::size_t N>
constexpr FunctionName<N> QualifiedFunctionName(const char (&sig)[N]) {
    const std::size_t length = N - 1;
    const std::size_t open = ParameterListStart(sig, length);
    std::size_t begin = open == length ? 0 : open;
    int angle = 0;
    while (begin > 0) {
        const char c = sig[begin - 1];
        angle += (c == '>') - (c == '<');
        if (c == ' ' && angle == 0) {
            break;
        }
        --begin;
    }
    FunctionName<N> name;
    const std::size_t stop = open == length ? length : open;
    for (std::size_t i = begin; i < stop; ++i) {
        name.text[i - begin] = sig[i];
    }
    return name;
}

/// Steps 3 to 5 of a throw: banner, Log, DumpToDbwin.
void Announce(const mcExc& local);

/// The whole procedure for class E; extra constructor arguments follow the description.
template <class E, class... Extra>
[[noreturn]] void Throw(const char* function, const char* file, LONG line, const TStr& description,
                        Extra&&... extra) {
    const E local(function, file, line, description, std::forward<Extra>(extra)...);
    Announce(local);
    throw E(local);
}

} // namespace core::detail

#define BV_THROW_AS(name, Class, ...)                                                              \
    ::core::detail::Throw<Class>(name, __FILE__, __LINE__, __VA_ARGS__)

/// Declares `var`, the enclosing function's qualified name, for helpers that throw on its behalf.
#define BV_FUNCTION_NAME(var)                                                                      \
    static constexpr auto var = ::core::detail::QualifiedFunctionName(__PRETTY_FUNCTION__)

#define BV_THROW(Class, ...)                                                                       \
    do {                                                                                           \
        BV_FUNCTION_NAME(bvFunctionName_);                                                         \
        BV_THROW_AS(bvFunctionName_.c_str(), Class, __VA_ARGS__);                                  \
    } while (false)
