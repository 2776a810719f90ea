// VelOperation.hpp: which types are samples and which are parameters. Compiled only.
#include <VelOperation.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace {

template <class T>
concept Channelled = requires {
    typename Vel::Channel<T>;
};

template <class... Ts>
constexpr bool areChannelled = (Channelled<Ts> && ...);
template <class... Ts>
constexpr bool isNoneChannelled = !(Channelled<Ts> || ...);

static_assert(
    areChannelled<std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int8_t, std::int16_t, std::int32_t,
                  std::int64_t, float, double, long, unsigned long, long long, unsigned long long, std::size_t>);
static_assert(Vel::Detail::Letter<long>() == (sizeof(long) == 8 ? 'q' : 'l'));
static_assert(Vel::Detail::Letter<unsigned long long>() == 'Q');

enum Unscoped { four = 4 };
enum UnscopedBool : bool { yes = true };
enum UnscopedCharacter : char { letter = 'a' };
enum class Scoped { four = 4 };
struct ConvertsToBool {
    operator bool() const { return true; }
};
__extension__ using Wide = __int128;
__extension__ using UnsignedWide = unsigned __int128;

static_assert(
    isNoneChannelled<bool, char, wchar_t, char8_t, char16_t, char32_t, long double, Wide, UnsignedWide, Unscoped,
                     Scoped, std::byte, void, void*, struct Incomplete, const double, double&, std::string>);

/// A call of Initialize with a T compiles.
template <class T>
concept Passed = requires(Vel::OperationHandle& operation, T parameter) {
    operation.Initialize(1.0, parameter);
};
template <class... Ts>
constexpr bool arePassed = (Passed<Ts> && ...);
template <class... Ts>
constexpr bool isNonePassed = !(Passed<Ts> || ...);

using Lambda = decltype([] { return true; });

static_assert(arePassed<std::uint8_t, std::int64_t, long, float, double, bool, const int, char*, const char*,
                        const char (&)[5], Vel::PackedFloat32, Unscoped, UnscopedBool>);
static_assert(
    isNonePassed<long double, Wide, UnsignedWide, char, wchar_t, char8_t, UnscopedCharacter, Scoped, std::byte, Lambda,
                 ConvertsToBool, std::vector<bool>::reference, std::nullptr_t, void*, int*, const double*, bool (*)(),
                 bool ConvertsToBool::*, std::string, std::string_view, Vel::Channel<double>&>);

static_assert(Vel::Detail::ParameterLetter<Unscoped>() ==
              (std::is_signed_v<std::underlying_type_t<Unscoped>> ? 'l' : 'L'));
static_assert(Vel::Detail::Argument(four) == 4);
static_assert(Vel::Detail::Argument(yes) == 1);
static_assert(Vel::Detail::Argument(std::int8_t{-1}) == -1);
static_assert(Vel::Detail::Argument(0.5f) == 0.5);

} // namespace

bool UseTheTypedHeader(Vel::Channel<double>& z, Vel::Channel<long>& x) {
    auto operation = Vel::OperationHandle::Create(true, "Cast", z, x);
    return operation.Initialize(four, 0.5, true, "text", Vel::PackedFloat32{0.5f}) && operation.Execute();
}
