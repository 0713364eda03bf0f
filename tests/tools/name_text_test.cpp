#include "tools/wz/words/name_text.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/builders/certificate_builder.h"
#include "tests/builders/der_builder.h"

namespace wzapp_test {
namespace {

constexpr char kCommonName[] = "2.5.4.3", kOrganisation[] = "2.5.4.10";

DerBuilder utf8(std::string_view text) { return DerBuilder().element(0x0C, fromText(text)); }

struct Row {
  const char* name;
  DerBuilder content;
  const char* text;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class NameTextTest : public testing::TestWithParam<Row> {};

TEST_P(NameTextTest, IsWritten) {
  EXPECT_EQ(wz::nameText(GetParam().content.octets()), GetParam().text);
}

DerBuilder commonName(const DerBuilder& value) { return attribute(kCommonName, value); }

INSTANTIATE_TEST_SUITE_P(
    Rows, NameTextTest,
    testing::Values(
        Row{"Empty", {}, ""},
        Row{"InTheOrderOfTheCertificate",
            DerBuilder()
                .raw(attribute(kOrganisation, DerBuilder().printableString("Example")))
                .raw(commonName(utf8("Signer"))),
            "O=Example, CN=Signer"},
        Row{"SeveralInOneRelativeName",
            DerBuilder().set(
                DerBuilder()
                    .sequence(DerBuilder().oid(kCommonName).printableString("A"))
                    .sequence(DerBuilder().oid("0.9.2342.19200300.100.1.1").printableString("b"))),
            "CN=A+UID=b"},
        Row{"UnknownType", attribute("1.2.3.4", DerBuilder().ia5String("x")), "1.2.3.4=x"},
        Row{"CharactersThatSeparate", commonName(utf8("a, O=b+c\\\"<>;")),
            "CN=a\\, O\\=b\\+c\\\\\\\"\\<\\>\\;"},
        Row{"NumberSignInFront", commonName(utf8("#a#")), "CN=\\#a#"},
        Row{"BlanksAtTheEnds", commonName(utf8("  a b ")), "CN=\\  a b\\ "},
        Row{"NoText", commonName(DerBuilder().integer(Octets{0x2A, 0x0F})), "CN=#2A0F"},
        Row{"WideCharacters", commonName(DerBuilder().element(0x1E, fromHex("0041 00E9 20AC"))),
            "CN=A\u00E9\u20AC"},
        Row{"HalfAWideCharacter", commonName(DerBuilder().element(0x1E, fromHex("0041 00"))),
            "CN=A"},
        Row{"EmptyValue", commonName(utf8("")), "CN="},
        Row{"NoValue", DerBuilder().set(DerBuilder().sequence(DerBuilder().oid(kCommonName))),
            "CN=?"},
        Row{"NoType", DerBuilder().set(DerBuilder().sequence(DerBuilder().null())), "?"},
        Row{"BrokenOid",
            DerBuilder().set(
                DerBuilder().sequence(DerBuilder().element(0x06, fromHex("2A 80")).null())),
            "?=#"},
        Row{"CutOff", DerBuilder().raw(commonName(utf8("A"))).raw(Octets{0x31, 0x20, 0x30}),
            "CN=A"}),
    [](const testing::TestParamInfo<Row>& row) { return row.param.name; });

}  // namespace
}  // namespace wzapp_test
