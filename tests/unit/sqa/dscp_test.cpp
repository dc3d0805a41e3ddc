// SPDX-License-Identifier: Apache-2.0
// DSCP keywords: matching by leading part, ambiguity, the value text
// buffer, and the help lines offered.  (No keyword is longer than 7
// characters, so the length limit shows only in what is read.)
#include "sqa_fixture.h"

namespace {

class SqaDscp : public SqaTest {};

// A keyword is accepted when exactly one row begins with it; the value is
// the first row's that does (65535: none).
TEST_F(SqaDscp, KeywordsByLeadingPart) {
    struct Case {
        const char *text;
        uint32_t check, value;
    };
    const uint32_t kBad = DPMGMT_ERR_FAILED;
    const Case cases[] = {
        {"EF", 0, 46},      {"d", 0, 0},           {"DeFaUlT", 0, 0},         {"cs7", 0, 56},
        {"AF41", 0, 34},    {"af1", kBad, 10},     {"af", kBad, 10},          {"c", kBad, 8},
        {"", kBad, 0},      {"46", kBad, 65535},   {"defaultx", kBad, 65535}, {"efx", kBad, 65535},
        {"x", kBad, 65535}, {"cs77", kBad, 65535},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(SQA_CLI_CheckDscp(c.text), c.check) << c.text;
        EXPECT_EQ(SQA_CLI_DscpStr2Value(c.text), c.value) << c.text;
    }
    EXPECT_EQ(SQA_CLI_CheckDscp(nullptr), kBad);
}

TEST_F(SqaDscp, ValueToString) {
    EXPECT_STREQ(SQA_CLI_DscpValue2Str(46), "ef");
    const char *a = SQA_CLI_DscpValue2Str(47);
    EXPECT_STREQ(a, "47");
    const char *b = SQA_CLI_DscpValue2Str(65535);
    EXPECT_EQ(a, b);  // one buffer, overwritten
    EXPECT_STREQ(b, "65535");
    EXPECT_STREQ(SQA_CLI_DscpValue2Str(7), "7");  // cleared between uses
    EXPECT_EQ(b[2], '\0');
}

TEST_F(SqaDscp, HelpLines) {
    fake::hooks().RC_LoadString = [](uint32_t id) { return id == 0x675008B ? "Expedited" : "other"; };
    int context = 0;
    EXPECT_EQ(SQA_CLI_HelpDscp("a", 5, 6, &context), 0u);
    std::vector<std::string> keywords;
    for (const fake::Call &c : fake::calls())
        if (c.name == "CLI_NewHelpInfo") keywords.push_back(c.text);
    EXPECT_EQ(keywords, (std::vector<std::string>{"af11", "af12", "af13", "af21", "af22", "af23", "af31", "af32",
                                                  "af33", "af41", "af42", "af43"}));

    fake::reset();
    fake::hooks().RC_LoadString = [](uint32_t id) { return id == 0x675008B ? "Expedited" : "other"; };
    EXPECT_EQ(SQA_CLI_HelpDscp("?", 0, 0, &context), 0u);
    ASSERT_EQ(fake::count("CLI_NewHelpInfo"), 21u);
    EXPECT_EQ(fake::nth("CLI_NewHelpInfo", 0).text, "default");
    EXPECT_EQ(fake::nth("RC_LoadString", 0).args[0], 0x675008Au);
    const fake::Call &last = fake::nth("CLI_NewHelpInfo", 20);
    EXPECT_EQ(last.text, "ef");
    EXPECT_EQ(std::string(last.bytes.begin(), last.bytes.end()), "Expedited");
    EXPECT_EQ(last.args[0], reinterpret_cast<uint64_t>(&context));
}

}  // namespace
