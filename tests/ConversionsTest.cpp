#include "Sequences.h"
#include "checks/Subject.h"

#include "core/Arithmetic.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

using namespace Sequences;
using namespace VelChecks;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
bool SameBits(T a, T b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
}

/// Holds every integer sample and every value on the way.
__extension__ using Wide = __int128;

/// A truncation to an integer of a number of bits, two's complement.
Wide Truncated(long double value, int bits) {
    const long double bound = std::ldexp(1.0L, bits - 1);
    const long double whole = std::trunc(value);
    return whole >= -bound && whole < bound ? static_cast<Wide>(whole) : -(static_cast<Wide>(1) << (bits - 1));
}

template <class TResult, class TOperand>
TResult ReferenceCast(TOperand sample) {
    if constexpr (std::integral<TOperand> && std::integral<TResult>) {
        return static_cast<TResult>(static_cast<Wide>(sample));
    } else if constexpr (std::integral<TResult>) {
        const auto value = static_cast<long double>(sample);
        if (sizeof(TResult) == 8 && std::unsigned_integral<TResult> && value >= 0x1p63L) {
            return static_cast<TResult>(value < 0x1p64L ? static_cast<Wide>(value) : static_cast<Wide>(1) << 63);
        }
        const bool inLong = sizeof(TResult) == 8 || std::unsigned_integral<TResult>;
        return static_cast<TResult>(Truncated(value, inLong ? 64 : 32));
    } else if constexpr (std::same_as<TOperand, std::uint64_t>) {
        const auto bits = static_cast<TResult>(static_cast<long double>(static_cast<std::int64_t>(sample)));
        return (sample >> 63) != 0 ? static_cast<TResult>(static_cast<long double>(bits) + 0x1p64L) : bits;
    } else {
        return static_cast<TResult>(static_cast<long double>(sample));
    }
}

TEST(Conversions, CastsOfEveryPairFollowTheReference) {
    int pairs = 0;
    ForEachType(AllSampleTypes(), [&](auto resultType) {
        ForEachType(AllSampleTypes(), [&](auto operandType) {
            using TResult = decltype(resultType);
            using TOperand = decltype(operandType);
            Vel::Channel<TResult> result;
            Vel::Channel<TOperand> operand;
            auto cast = Vel::OperationHandle::Create(false, "Cast", result, operand);
            ASSERT_EQ(static_cast<bool>(cast), !(std::same_as<TResult, TOperand>));
            if (!cast)
                return;
            ++pairs;
            for (const TOperand sample : EdgeSamples<TOperand>()) {
                operand = sample;
                ASSERT_TRUE(cast.Execute());
                ASSERT_TRUE(SameBits(result.Get(), ReferenceCast<TResult>(sample)))
                    << typeid(TOperand).name() << " to " << typeid(TResult).name() << ": " << +sample << " gives "
                    << +result.Get() << " and not " << +ReferenceCast<TResult>(sample);
            }
        });
    });
    EXPECT_EQ(pairs, 90);
}

TEST(Conversions, TruncationsOfTheProcessorAndOfPlainCodeAgree) {
    namespace Ops = Velmarosk::Operation;
    ForEachType(Vel::TypeList<float, double>(), [](auto type) {
        for (const auto sample : EdgeSamples<decltype(type)>()) {
            EXPECT_EQ(Ops::TruncateToSInt32(sample), Ops::TruncateSafely<std::int32_t>(sample)) << sample;
            EXPECT_EQ(Ops::TruncateToSInt64(sample), Ops::TruncateSafely<std::int64_t>(sample)) << sample;
        }
    });
}

TEST(Conversions, AssignmentKeepsEveryBit) {
    for (const std::uint64_t bits : {0x7FF4000000000001u, 0xFFF8123456789ABCu, 0x8000000000000000u}) {
        Vel::Channel<double> result, operand;
        auto assignment = Vel::OperationHandle::Create(false, "Assignment", result, operand);
        operand = std::bit_cast<double>(bits);
        EXPECT_TRUE(assignment.Execute());
        EXPECT_EQ(std::bit_cast<std::uint64_t>(result.Get()), bits);
    }
}

TEST(Conversions, ScalingComputesInFloat64) {
    const double wide = 18446744073709551615.0;
    RunSequences({
        Both("PhysToFloat", "Fw", In({-3}, -3)), // factor 1, offset 0
        Both("PhysToFloat", "DW", With(0.5, -10.0), In({7}, -6.5), restart, In({8}, -6)),
        Both("PhysToFloat", "FF", With(0.1, 0.0), In({3}, static_cast<float>(3 * 0.1))),
        Both("PhysToFloat", "FD", With(1.0, 1e39), In({-1e39}, 0), In({1}, infinity)),
        Both("PhysToFloat", "DD", With(3.0, 1.0), Init(With(9.0), false), Init(With(9.0, 9.0, 9.0), false),
             Init(With(), false), In({2}, 7)),
        Plain("PhysToFloat", "DQ", With(1.0, 0.0), In({none}, wide)),
    });
}

TEST(Conversions, FieldsOfEveryWidthAndPlaceInTheLow31Bits) {
    ForEachType(IntegerSampleTypes(), [](auto type) {
        using T = decltype(type);
        constexpr int width = 8 * sizeof(T);
        Vel::Channel<T> result, operand;
        auto field = Vel::OperationHandle::Create(false, "MaskAndShift", result, operand);
        for (int low = 0; low < width; ++low) {
            for (int bits = 1; low + bits <= width && bits < 32; ++bits) {
                ASSERT_TRUE(field.Initialize(((std::uint64_t{1} << bits) - 1) << low));
                for (const T sample : EdgeSamples<T>()) {
                    operand = sample;
                    ASSERT_TRUE(field.Execute());
                    // The field moved to the top of 64 bits and back down, by sign where the type has one.
                    const std::uint64_t top = static_cast<std::uint64_t>(sample) << (64 - low - bits);
                    const T expected = std::signed_integral<T>
                                           ? static_cast<T>(static_cast<std::int64_t>(top) >> (64 - bits))
                                           : static_cast<T>(top >> (64 - bits));
                    ASSERT_EQ(result.Get(), expected) << width << " " << low << " " << bits << " " << +sample;
                }
            }
        }
    });
}

TEST(Conversions, FieldsThatAreOddOnPurpose) {
    using std::uint64_t;
    RunSequences({
        Plain("MaskAndShift", "BB", In({0xAB}, 0)), // no mask yet
        Plain("MaskAndShift", "BB", With(uint64_t{0xF0}), In({0xAB}, 0x0A), Init(With(uint64_t{0}), false),
              In({0xAB}, 0x0A)),
        Plain("MaskAndShift", "lb", With(uint64_t{0xF0}), In({-85}, -6), Init(With(), false),
              Init(With(uint64_t{1}, uint64_t{1}), false)),
        Plain("MaskAndShift", "BL", With(uint64_t{0xFFF00}), In({0x12345}, 0x23)),
        // A mask with a gap is refused and used all the same, unshifted.
        Plain("MaskAndShift", "BB", Init(With(uint64_t{0x05}), false), In({0xFF}, 5)),
        Plain("MaskAndShift", "bb", With(uint64_t{0x70}), Init(With(uint64_t{0x0D}), false), In({0x0F}, -3)),
        Plain("MaskAndShift", "bb", With(uint64_t{1}), With(uint64_t{0x7F}), In({0x40}, -64)), // the second counts
        // Mask bits above the operand match nothing; a field across its top counts its full width.
        Plain("MaskAndShift", "BB", With(uint64_t{0xF00}), In({0xFF}, 0)),
        Plain("MaskAndShift", "ww", With(uint64_t{0xFFFF0000}), In({-1}, 0)),
        Plain("MaskAndShift", "bb", With(uint64_t{0xFF0}), In({-128}, -8), In({0x70}, 7)),
        // Wide fields of SInt64: the sign bit is placed in 32 bits.
        Plain("MaskAndShift", "qq", With(uint64_t{0xFFFFFFFFFF}), In({0x80}, 0xFFFFFF80), In({0x7F}, 0x7F)),
        Plain("MaskAndShift", "qq", With(uint64_t{0xFFFFFFFF}), In({0x80000000}, -2147483648.), In({1}, 1)),
        Plain("MaskAndShift", "qq", With(~uint64_t{0}), In({-5}, -5), In({4294967296.}, 4294967296.)),
        Plain("MaskAndShift", "QQ", With(uint64_t{0xFFFFFFFF00}), In({0x123456789A}, 0x12345678)),
    });
}

TEST(Conversions, WordsSplitIntoTheirBits) {
    for (const bool noValueAware : {false, true})
        for (const char* name : {"Extract8Bits", "Extract16Bits"}) {
            const Vel::Operation* const operation = Vel::FindOperations(name).front();
            const std::string signature = SignaturesOf(*operation).front();
            const auto marker = [](std::size_t i) { return 100 + static_cast<int>(i); };
            std::vector<std::optional<SampleBits>> markers;
            for (std::size_t i = 0; i <= operation->results; ++i)
                markers.push_back(SampleOf(signature[i], marker(i)));
            Subject extraction({operation, signature}, noValueAware, markers);
            for (const int word : {0xA5, 0x8EA1, marker(operation->results)}) {
                extraction.Operands()[0] = SampleOf(signature.back(), word);
                const bool isNoValue = noValueAware && word == marker(operation->results);
                EXPECT_EQ(extraction.Execute(), !isNoValue);
                for (std::size_t bit = 0; bit < operation->results; ++bit)
                    EXPECT_EQ(extraction.Results()[bit],
                              SampleOf(signature[bit], isNoValue ? marker(bit) : word >> bit & 1));
            }
        }
}

TEST(Conversions, EachBitIsReadFromTheOperandAfreshThoughAResultHasReplacedIt) {
    for (const char* name : {"Extract8Bits", "Extract16Bits"}) {
        const Vel::Operation* const operation = Vel::FindOperations(name).front();
        for (std::size_t shared = 0; shared < operation->results; ++shared) {
            Subject extraction({operation, SignaturesOf(*operation).front()}, false);
            extraction.ShareChannel(shared, operation->results);
            const char letter = extraction.Letter(0);
            const auto asOperand = [letter](SampleBits sample) { return NumberOf(sample, SizeOfSample(letter)); };
            extraction.Operands()[0] = SampleOf(letter, 0x7FF7);
            EXPECT_TRUE(extraction.Execute());
            const auto ownBit = static_cast<std::uint16_t>(0x7FF7 >> shared & 1);
            const std::uint64_t left = asOperand(BitsOf(ownBit)); // of a UInt16, a UInt8 reads the first byte
            EXPECT_EQ(asOperand(extraction.Operands()[0]), left);
            for (std::size_t bit = 0; bit < operation->results; ++bit)
                if (bit != shared) {
                    EXPECT_EQ(NumberOf(extraction.Results()[bit], sizeof ownBit),
                              (bit < shared ? 0x7FF7u : left) >> bit & 1)
                        << name << ", result " << bit << ", with that of bit " << shared << " in the operand";
                }
        }
    }
}

} // namespace
