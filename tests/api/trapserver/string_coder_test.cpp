// String coders: texts, edge cases, and the plain form beside them.
#include "trapserver/string_coder.h"

#include <gtest/gtest.h>

#include <climits>
#include <initializer_list>
#include <random>
#include <string_view>
#include <vector>

#include "plain_coder.h"
#include "support/heap.h"

namespace {

using NEC::CCommaDecoder;
using NEC::CCommaEncoder;
using NEC::CStringCoder;
using NEC::CStringCoderImpl;

std::string encoded(std::initializer_list<std::string> fields) {
    CCommaEncoder encoder;
    for (const std::string& field : fields) encoder << field;
    EXPECT_EQ(encoder.count(), plain::count(encoder.str()));
    return encoder.str();
}

// What a decoder of `text` gives for three texts.
std::vector<std::string> threeOf(const std::string& text) {
    CCommaDecoder decoder(text);
    std::vector<std::string> fields(3, "from before");
    decoder >> fields[0] >> fields[1] >> fields[2];
    return fields;
}

int numberIn(const std::string& text) {
    CCommaDecoder decoder(text);
    int number = 99;
    decoder >> number;
    return number;
}

TEST(CommaEncoder, JoinsTextsAndNumbers) {
    CCommaEncoder encoder;
    encoder << "a" << 5 << "b";
    EXPECT_EQ(encoder.str(), "a,5,b");
    EXPECT_EQ(encoder.count(), 3);
}

TEST(CommaEncoder, StartsEmpty) {
    const CCommaEncoder encoder;
    EXPECT_EQ(encoder.str(), "");
    EXPECT_EQ(encoder.count(), 0);
}

TEST(CommaEncoder, EmptyFirstFieldsAreLost) {
    EXPECT_EQ(encoded({""}), "");
    EXPECT_EQ(encoded({"", "a"}), "a");
    EXPECT_EQ(encoded({"", "", "a"}), "a");
}

TEST(CommaEncoder, EmptyLaterFieldsAreCommas) {
    EXPECT_EQ(encoded({"a", ""}), "a,");
    EXPECT_EQ(encoded({"a", "", "", "b"}), "a,,,b");
    EXPECT_EQ(CCommaDecoder(encoded({"a", ""})).count(), 2);
}

TEST(CommaEncoder, WritesAnyNumber) {
    CCommaEncoder encoder;
    encoder << 0 << -1 << INT_MAX << INT_MIN;
    EXPECT_EQ(encoder.str(), "0,-1,2147483647,-2147483648");
}

TEST(CommaEncoder, CommasAndNulsInFieldsStandAsTheyAre) {
    const std::string text = encoded({"a,b", std::string("c\0d", 3)});
    EXPECT_EQ(text, std::string("a,b,c\0d", 7));
    EXPECT_EQ(threeOf(text), (std::vector<std::string>{"a", "b", std::string("c\0d", 3)}));
}

TEST(CommaEncoder, TakesItsOwnText) {
    CCommaEncoder encoder;
    encoder << "a"
            << "b";
    encoder << encoder.str();
    EXPECT_EQ(encoder.str(), "a,b,a,b");
}

TEST(CommaEncoder, FieldThatThereIsNoMemoryForLeavesTheText) {
    CCommaEncoder encoder;
    encoder << "a";
    const std::string longer(1000, 'x');
    EXPECT_TRUE(support::runsOut(1, [&] { encoder << longer; }));
    EXPECT_EQ(encoder.str(), "a");
    encoder << longer;
    EXPECT_EQ(encoder.str(), "a," + longer);
}

TEST(CommaDecoder, TakesFieldsFromTheFront) {
    CCommaDecoder decoder("a,5,b");
    std::string text;
    int number = 0;
    decoder >> text >> number;
    EXPECT_EQ(text, "a");
    EXPECT_EQ(number, 5);
    EXPECT_EQ(decoder.str(), "b");
    EXPECT_EQ(decoder.count(), 1);
}

TEST(CommaDecoder, GivesEmptyTextsPastTheLastField) {
    EXPECT_EQ(threeOf("a,b"), (std::vector<std::string>{"a", "b", ""}));
    EXPECT_EQ(threeOf(""), (std::vector<std::string>{"", "", ""}));
}

TEST(CommaDecoder, EmptyOneHasNoFields) {
    CCommaDecoder decoder("a");
    std::string text;
    decoder >> text;
    EXPECT_EQ(decoder.str(), "");
    EXPECT_EQ(decoder.count(), 0);
    EXPECT_EQ(CCommaDecoder("").count(), 0);
}

TEST(CommaDecoder, CommaAtTheEndLeavesNothingToRead) {
    CCommaDecoder decoder("a,");
    EXPECT_EQ(decoder.count(), 2);
    std::string text;
    decoder >> text;
    EXPECT_EQ(decoder.str(), "");
    EXPECT_EQ(decoder.count(), 0);
    decoder >> text;
    EXPECT_EQ(text, "");
}

TEST(CommaDecoder, LoneCommasAreEmptyFields) {
    EXPECT_EQ(CCommaDecoder(",").count(), 2);
    EXPECT_EQ(CCommaDecoder(",,").count(), 3);
    EXPECT_EQ(threeOf(",x,"), (std::vector<std::string>{"", "x", ""}));
}

TEST(CommaDecoder, ReadsNumbersAsStrtolDoes) {
    EXPECT_EQ(numberIn(" 7"), 7);
    EXPECT_EQ(numberIn("x"), 0);
    EXPECT_EQ(numberIn(""), 0);
    EXPECT_EQ(numberIn("7x"), 7);
    EXPECT_EQ(numberIn("-12,3"), -12);
    EXPECT_EQ(numberIn("+5"), 5);
    EXPECT_EQ(numberIn("007"), 7);
    EXPECT_EQ(numberIn("0x10"), 0);
    EXPECT_EQ(numberIn(std::string("1\0"
                                   "2",
                                   3)),
              1);
}

TEST(CommaDecoder, CutsNumbersToTheirLow32Bits) {
    EXPECT_EQ(numberIn("2147483648"), INT_MIN);
    EXPECT_EQ(numberIn("4294967301"), 5);
    EXPECT_EQ(numberIn("-4294967297"), -1);
    EXPECT_EQ(numberIn("9223372036854775807"), -1);
    EXPECT_EQ(numberIn("99999999999999999999"), -1);  // strtol gives its largest
    EXPECT_EQ(numberIn("-99999999999999999999"), 0);  // strtol gives its smallest
}

TEST(CommaDecoder, ReadsACopyOfItsText) {
    std::string text = "a,b";
    CCommaDecoder decoder(text);
    decoder >> text;
    EXPECT_EQ(text, "a");
    EXPECT_EQ(decoder.str(), "b");
}

// Its constructor makes no implementation.
TEST(StringCoder, WithoutImplementationIsEmpty) {
    const CStringCoder coder;
    EXPECT_EQ(coder.str(), "");
    EXPECT_EQ(coder.count(), 0);
}

// A coder that has lost its implementation.
template <class Coder>
class Bereft : public Coder {
public:
    template <class... Arguments>
    explicit Bereft(const Arguments&... arguments) : Coder(arguments...) {
        delete this->impl_;
        this->impl_ = nullptr;
    }
};

TEST(StringCoder, EncoderWithoutImplementationIgnoresFields) {
    Bereft<CCommaEncoder> encoder;
    encoder << "a" << 1;
    EXPECT_EQ(encoder.str(), "");
    EXPECT_EQ(encoder.count(), 0);
}

TEST(StringCoder, DecoderWithoutImplementationLeavesTextsAndZeroesNumbers) {
    Bereft<CCommaDecoder> decoder(std::string("a,5"));
    std::string text = "from before";
    int number = 99;
    decoder >> text >> number;
    EXPECT_EQ(text, "from before");
    EXPECT_EQ(number, 0);
    EXPECT_EQ(decoder.str(), "");
    EXPECT_EQ(decoder.count(), 0);
}

// Fields that commas, blanks, digits and nothing are frequent in.
std::string randomField(std::mt19937& random) {
    constexpr std::string_view characters = ",, 0123456789-+xy";
    std::string field(random() % 6, ' ');
    for (char& character : field) character = characters[random() % characters.size()];
    return field;
}

TEST(StringCoderAndPlainForm, BuildTheSameTexts) {
    std::mt19937 random(1);
    for (int round = 0; round < 1000; ++round) {
        CCommaEncoder encoder;
        std::string text;
        for (auto fields = random() % 12; fields > 0; --fields) {
            if (random() % 3 == 0) {
                const int number = static_cast<int>(random());
                encoder << number;
                plain::append(text, std::to_string(number));
            } else {
                const std::string field = randomField(random);
                encoder << field;
                plain::append(text, field);
            }
            ASSERT_EQ(encoder.str(), text);
            ASSERT_EQ(encoder.count(), plain::count(text));
        }
    }
}

TEST(StringCoderAndPlainForm, BuildTheSameTextsOfManyFields) {
    std::mt19937 random(3);
    for (const int fields : {1'000, 10'000, 100'000}) {
        CCommaEncoder encoder;
        std::string text;
        for (int i = 0; i < fields; ++i) {
            const std::string field = randomField(random);
            encoder << field << i;
            plain::append(text, field);
            plain::append(text, std::to_string(i));
        }
        EXPECT_TRUE(encoder.str() == text) << fields;
        EXPECT_EQ(encoder.count(), plain::count(text));
    }
}

TEST(StringCoderAndPlainForm, ReadTheSameManyFields) {
    std::mt19937 random(4);
    for (const int parts : {1'000, 10'000, 30'000}) {
        std::string text;
        for (int i = 0; i < parts; ++i) plain::append(text, randomField(random));
        CCommaDecoder decoder(text);
        for (int fields = plain::count(text) + 2; fields > 0; --fields) {
            std::string field;
            decoder >> field;
            ASSERT_EQ(field, plain::takeText(text));
        }
        EXPECT_EQ(decoder.count(), 0);
    }
}

TEST(StringCoderAndPlainForm, ReadTheSameFields) {
    std::mt19937 random(2);
    for (int round = 0; round < 1000; ++round) {
        std::string text;
        for (auto parts = random() % 12; parts > 0; --parts) text += randomField(random);
        CCommaDecoder decoder(text);
        for (int fields = plain::count(text) + 2; fields > 0; --fields) {
            if (random() % 2 == 0) {
                std::string field;
                decoder >> field;
                ASSERT_EQ(field, plain::takeText(text));
            } else {
                int number = 0;
                decoder >> number;
                ASSERT_EQ(number, plain::takeNumber(text));
            }
            ASSERT_EQ(decoder.str(), text);
            ASSERT_EQ(decoder.count(), plain::count(text));
        }
    }
}

}  // namespace
