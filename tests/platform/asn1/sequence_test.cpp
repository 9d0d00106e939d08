// The generic codec, on record classes of this test's own: every kind of field it knows, and one that nests.
#include <gtest/gtest.h>

#include <sstream>

#include "nec/records.h"
#include "support/octets.h"

using support::encodedHex;
using support::octets;
using support::thrownBy;

namespace {

using refl::Access;
using refl::CClassInfor;
using refl::CGnlTypeInfor;

// A record that may hold another of its own class.
class Chain : public AsnSequence {
public:
    Chain() = default;
    Chain(const Chain& other) : AsnSequence(other) { CopyConstructor(other); }
    Chain& operator=(const Chain& other) {
        Assign(other);
        return *this;
    }
    ~Chain() override {
        delete inner;
        Destructor();
    }
    Chain* Clone() const override { return new Chain(*this); }
    void GetTypeInfor(CGnlTypeInfor& type) const override {
        refl::helper::ChangeTypeTo_ClassType(type, description(), this);
    }

    static const CClassInfor& description() {
        return CClassInfor::GetClassInforImpl<Chain>(
            "Chain", []() -> AsnType* { return new Chain; }, [](AsnType* object) { delete object; },
            [](CClassInfor& cls, Access access) {
                CGnlTypeInfor::CaptureTypeInfor<AsnInt>(
                    CClassInfor::AddAttribInfor(cls, access, &Chain::number, "number", refl::noContextTag));
                CGnlTypeInfor& type = CClassInfor::AddAttribInfor(cls, access, &Chain::inner, "inner", 0);
                refl::helper::ChangeTypeTo_ClassType(type, description(), nullptr);
                type.MarkNullablePointer();
            });
    }

    AsnInt number;
    Chain* inner = nullptr;
};

// `depth` records inside one another.
std::unique_ptr<Chain> chainOf(int depth) {
    auto outermost = std::make_unique<Chain>();
    Chain* one = outermost.get();
    for (int i = 1; i < depth; ++i) {
        one->inner = new Chain;
        one = one->inner;
        one->number = i;
    }
    return outermost;
}

std::string printed(const AsnType& value, bool newline) {
    std::ostringstream os;
    value.Print(os, 0, newline);
    return os.str();
}

}  // namespace

TEST(SequenceTest, AClassThatRefersToItselfIsDescribedOnce) {
    const CClassInfor& cls = Chain::description();
    ASSERT_EQ(cls.attributes().size(), 2U);
    EXPECT_EQ(cls.attributes()[1].type.cls, &cls);
    EXPECT_EQ(cls.size(), sizeof(Chain));
}

TEST(SequenceTest, ContextTagsAreImplicit) {
    EXPECT_EQ(encodedHex(*chainOf(2)), "3008020100A003020101");
}

TEST(SequenceTest, IndefiniteLengthsAreReadWhereLengthsMayBe) {
    Chain chain;
    EXPECT_TRUE(frame::decode(octets("3080 020107 A080 020108 0000 0000"), chain).ok);
    EXPECT_EQ(chain.number, 7);
    EXPECT_EQ(chain.inner->number, 8);
    EXPECT_EQ(frame::decode(octets("3080 020107 A080 020108 0000"), chain).code, -53);
}

TEST(SequenceTest, NestingOf64IsReadAndDeeperIsRefused) {
    Chain chain;
    EXPECT_TRUE(frame::decode(frame::encode(*chainOf(64)).view(), chain).ok);
    const frame::DecodeResult result = frame::decode(frame::encode(*chainOf(65)).view(), chain);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.code, -60);
}

TEST(SequenceTest, AHundredThousandOpeningsAreRefused) {
    std::string nested;
    for (int i = 0; i < 100000; ++i) nested += octets("3080");
    Chain chain;
    EXPECT_FALSE(frame::decode(nested, chain).ok);
    nested = octets("3080 020100");
    for (int i = 0; i < 100000; ++i) nested += octets("A080 020100");
    EXPECT_EQ(frame::decode(nested, chain).code, -60);
}

TEST(SequenceTest, DecodingIntoAUsedRecordReplacesAndRemovesFields) {
    auto chain = chainOf(3);
    EXPECT_TRUE(frame::decode(octets("3008 020105 A003020106"), *chain).ok);
    EXPECT_EQ(chain->inner->number, 6);
    EXPECT_EQ(chain->inner->inner, nullptr);
    EXPECT_TRUE(frame::decode(octets("3003 020105"), *chain).ok);
    EXPECT_EQ(chain->inner, nullptr);
}

TEST(SequenceTest, MissingRepeatedUnknownAndMisplacedFieldsAreRefusedWhereTheyStand) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"3000", 2},                                // no number
        {"3005 A003020106", 2},                     // the optional field first
        {"3006 020105 020105", 5},                  // number twice
        {"300D 020105 A003020106 A003020106", 10},  // inner twice
        {"3006 020105 A10100", 5},                  // unknown context tag
    };
    for (const auto& [text, offset] : cases) {
        Chain chain;
        const frame::DecodeResult result = frame::decode(octets(text), chain);
        EXPECT_EQ(result.code, -56) << text;
        EXPECT_EQ(result.offset, offset) << text;
    }
}

TEST(SequenceTest, AFieldThatReachesBeyondItsParentIsRefused) {
    Chain chain;
    EXPECT_EQ(frame::decode(octets("3003 020205 0000"), chain).code, -52);
    EXPECT_EQ(frame::decode(octets("3008 020105 A004020106 00"), chain).code, -52);
}

TEST(SequenceTest, CopiesAreDeepAndAssignmentReplaces) {
    auto chain = chainOf(3);
    const std::unique_ptr<Chain> clone(chain->Clone());
    chain.reset();
    EXPECT_EQ(clone->inner->inner->number, 2);
    Chain other;
    other = *clone;
    const Chain& self = other;
    other = self;
    EXPECT_EQ(other.inner->inner->number, 2);
    other = Chain();
    EXPECT_EQ(other.inner, nullptr);
}

TEST(SequenceTest, PrintsFieldsThatArePresentOnOneLineOrMany) {
    EXPECT_EQ(printed(*chainOf(2), false), "{ number 0 inner { number 1 } }");
    EXPECT_EQ(printed(*chainOf(2), true), "{\n  number 0\n  inner {\n    number 1\n  }\n}");
    EXPECT_STREQ(Chain().typeName(), "Chain");
}

TEST(SequenceTest, PrintBeyondTheIndentTableSetsTheBadBit) {
    std::ostringstream os;
    Chain().Print(os, 64, true);  // the fields stand one level further
    EXPECT_TRUE(os.bad());
    EXPECT_EQ(os.str(), "{\n");
    std::ostringstream deepest;
    Chain().Print(deepest, 63, true);
    EXPECT_TRUE(deepest.good());
    std::ostringstream oneLine;
    Chain().Print(oneLine, 65, false);
    EXPECT_EQ(oneLine.str(), "{ number 0 }");
}

TEST(SequenceTest, ContentsOfALengthBeyondTheBufferAreRefused) {
    const std::string contents = octets("020105");
    AsnBuf buf{std::string_view(contents)};
    Chain chain;
    AsnLen count = 0;
    const auto error = thrownBy([&] { chain.BDecContent(buf, 0x30, 4, count, 1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -52);
}

TEST(SequenceTest, ARequiredPointerThatIsNullCannotBeEncoded) {
    asn_frame::AsnDevIDListOfNEMgr record;
    delete record.srcProcID;
    record.srcProcID = nullptr;
    const auto error = thrownBy([&] { frame::encode(record); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -58);
    EXPECT_NE(error->text().find("srcProcID"), std::string::npos);
}
