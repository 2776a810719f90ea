#include "ArrowType.h"

#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace VelPython {

namespace {

using Kind = ArrowType::Kind;

constexpr std::int64_t secondsOfDay = 86400;

ArrowType Fixed(Kind kind, std::size_t bytes, std::string name, bool isSigned = false) {
    ArrowType type;
    type.kind = kind;
    type.bytes = bytes;
    type.isSigned = isSigned;
    type.name = std::move(name);
    return type;
}

/// Formats with one letter.
std::optional<ArrowType> Simple(char letter) {
    switch (letter) {
    case 'n':
        return Fixed(Kind::Null, 0, "null");
    case 'b':
        return Fixed(Kind::Bool, 0, "bool");
    case 'c':
        return Fixed(Kind::Integer, 1, "int8", true);
    case 'C':
        return Fixed(Kind::Integer, 1, "uint8");
    case 's':
        return Fixed(Kind::Integer, 2, "int16", true);
    case 'S':
        return Fixed(Kind::Integer, 2, "uint16");
    case 'i':
        return Fixed(Kind::Integer, 4, "int32", true);
    case 'I':
        return Fixed(Kind::Integer, 4, "uint32");
    case 'l':
        return Fixed(Kind::Integer, 8, "int64", true);
    case 'L':
        return Fixed(Kind::Integer, 8, "uint64");
    case 'e':
        return Fixed(Kind::Floating, 2, "float16", true);
    case 'f':
        return Fixed(Kind::Floating, 4, "float32", true);
    case 'g':
        return Fixed(Kind::Floating, 8, "float64", true);
    case 'u':
        return Fixed(Kind::Text, 4, "string");
    case 'U':
        return Fixed(Kind::Text, 8, "large_string");
    case 'z':
        return Fixed(Kind::Text, 4, "binary");
    case 'Z':
        return Fixed(Kind::Text, 8, "large_binary");
    default:
        return std::nullopt;
    }
}

/// Units per second for s, m, u and n.
std::optional<std::int64_t> UnitsOf(char letter) {
    switch (letter) {
    case 's':
        return 1;
    case 'm':
        return 1'000;
    case 'u':
        return 1'000'000;
    case 'n':
        return 1'000'000'000;
    default:
        return std::nullopt;
    }
}

std::string UnitName(char letter) { return letter == 's' ? "s" : std::string(1, letter) + "s"; }

/// Formats that begin with t.
std::optional<ArrowType> Temporal(std::string_view format) {
    if (format.size() < 3)
        return std::nullopt;
    const auto units = UnitsOf(format[2]);
    const std::string unit = UnitName(format[2]);
    if (format == "tdD") {
        ArrowType type = Fixed(Kind::Date, 4, "date32", true);
        type.secondsPerUnit = secondsOfDay;
        return type;
    }
    if (format == "tdm") {
        ArrowType type = Fixed(Kind::Date, 8, "date64", true);
        type.perSecond = *units;
        return type;
    }
    if (format[1] == 's' && units && format.size() >= 4 && format[3] == ':') {
        ArrowType type = Fixed(Kind::Timestamp, 8, "", true);
        type.perSecond = *units;
        type.zone = format.substr(4);
        type.name = "timestamp[" + unit + (type.zone.empty() ? "]" : ", " + type.zone + "]");
        return type;
    }
    if (format[1] == 'D' && units && format.size() == 3) {
        ArrowType type = Fixed(Kind::Duration, 8, "duration[" + unit + "]", true);
        type.perSecond = *units;
        return type;
    }
    if (format[1] == 't' && units)
        return Fixed(Kind::FixedWidth, format[2] == 's' || format[2] == 'm' ? 4 : 8, "time of day");
    if (format == "tiM")
        return Fixed(Kind::FixedWidth, 4, "interval of months");
    if (format == "tiD")
        return Fixed(Kind::FixedWidth, 8, "interval of days");
    if (format == "tin")
        return Fixed(Kind::FixedWidth, 16, "interval");
    return std::nullopt;
}

std::size_t NumberBehind(std::string_view text, char mark) {
    std::size_t number = 0;
    const std::size_t begin = text.rfind(mark) + 1;
    std::from_chars(text.data() + begin, text.data() + text.size(), number);
    return number;
}

} // namespace

ArrowType TypeOf(const ArrowSchema& schema) {
    const std::string_view format(schema.format != nullptr ? schema.format : "");
    if (format.size() == 1)
        if (auto type = Simple(format[0])) {
            type->isBinary = format == "z" || format == "Z";
            return *type;
        }
    if (format.starts_with("t"))
        if (auto type = Temporal(format))
            return *type;
    constexpr std::size_t bytesOfView = 16;
    if (format == "vu" || format == "vz") {
        ArrowType type = Fixed(Kind::View, bytesOfView, format == "vu" ? "string_view" : "binary_view");
        type.isBinary = format == "vz";
        return type;
    }
    if (format.starts_with("d:")) {
        constexpr std::size_t usualBytes = 16;
        const bool hasBits = format.find(',') != format.rfind(',');
        return Fixed(Kind::FixedWidth, hasBits ? NumberBehind(format, ',') / 8 : usualBytes, "decimal");
    }
    if (format.starts_with("w:"))
        return Fixed(Kind::FixedWidth, NumberBehind(format, ':'), "fixed_size_binary");
    constexpr std::array<std::pair<std::string_view, const char*>, 8> nested{{{"+s", "struct"},
                                                                              {"+l", "list"},
                                                                              {"+L", "large_list"},
                                                                              {"+w", "fixed_size_list"},
                                                                              {"+v", "list_view"},
                                                                              {"+m", "map"},
                                                                              {"+u", "union"},
                                                                              {"+r", "run_end_encoded"}}};
    for (const auto& [beginning, name] : nested)
        if (format.starts_with(beginning))
            return Fixed(Kind::Other, 0, name);
    return Fixed(Kind::Other, 0, "format " + Vel::Quoted(format));
}

std::string UnitOf(const ArrowSchema& schema) {
    const char* next = schema.metadata;
    if (next == nullptr)
        return {};
    const auto number = [&next] {
        std::int32_t value = 0;
        std::memcpy(&value, next, sizeof value);
        next += sizeof value;
        return value;
    };
    const auto text = [&next, &number] {
        const auto length = static_cast<std::size_t>(number());
        next += length;
        return std::string_view(next - length, length);
    };
    for (std::int32_t left = number(); left > 0; --left) {
        const std::string_view key = text();
        const std::string_view value = text();
        if (key == "unit")
            return std::string(value);
    }
    return {};
}

void CheckArray(const ArrowArray& array, const ArrowType& type, std::int64_t length, const std::string& column) {
    const auto fail = [&](const std::string& what) {
        throw Vel::Error("column " + Vel::Quoted(column), "the Arrow array " + what,
                         "its producer breaks the Arrow C data interface");
    };
    if (array.release == nullptr)
        fail("is released already");
    if (array.length < 0 || array.offset < 0 || array.length < length)
        fail("has fewer rows than its batch");
    if (type.kind == Kind::Other)
        return;
    const bool hasBytes = type.kind == Kind::Text || type.kind == Kind::View; // in a buffer after the values
    const std::int64_t buffers = type.kind == Kind::Null ? 0 : hasBytes ? 3 : 2;
    if (array.n_buffers < buffers)
        fail("has too few buffers");
    if (buffers != 0 && array.length != 0 && array.buffers[1] == nullptr)
        fail("has no values");
    if (array.null_count > 0 && buffers != 0 && array.buffers[0] == nullptr)
        fail("has nulls, and no bits that say which");
}

std::int64_t IntegerAt(const void* buffer, std::size_t index, const ArrowType& type) {
    const auto read = [&]<class T>(T value) {
        std::memcpy(&value, static_cast<const std::byte*>(buffer) + index * sizeof value, sizeof value);
        return static_cast<std::int64_t>(value);
    };
    switch (type.bytes) {
    case 1:
        return type.isSigned ? read(std::int8_t{}) : read(std::uint8_t{});
    case 2:
        return type.isSigned ? read(std::int16_t{}) : read(std::uint16_t{});
    case 4:
        return type.isSigned ? read(std::int32_t{}) : read(std::uint32_t{});
    default:
        return read(std::int64_t{});
    }
}

bool Validity::AreAll(std::size_t begin, std::size_t count) const {
    if (bits == nullptr)
        return true;
    std::size_t bit = first + begin;
    const std::size_t end = bit + count;
    for (; bit < end && bit % 8 != 0; ++bit)
        if (!BitAt(bits, bit))
            return false;
    for (; bit + 8 <= end; bit += 8)
        if (bits[bit / 8] != 0xFF)
            return false;
    for (; bit < end; ++bit)
        if (!BitAt(bits, bit))
            return false;
    return true;
}

} // namespace VelPython
