#include "host/localized_text.h"

#include "host/host_functions.h"

#include <gtest/gtest.h>
#include <string>

namespace tonvale {
namespace {

int calls = 0, lastFlags = 0;
const char *answer = nullptr;

const char *translate(const char *, const char *, int flags) {
    ++calls;
    lastFlags = flags;
    return answer;
}

TEST(LocalizedText, AsksTheHostOnceAPairOfAddressesAsSoonAsAnythingIsTranslated) {
    static const char text[] = "Wet", same[] = "Wet", section[] = "tonvale", other[] = "tonvale";
    EXPECT_EQ(localizedText(text, section, 0), text) << "without a host";
    hostFunctions.__localizeFunc = translate;
    const struct {
        const char *text, *section;
        int flags;
        const char *answer, *result;
        bool asked;
    } turns[] = {
        {text, section, 0, text, text, true}, // nothing is kept while nothing is translated
        {text, section, 0, "Nass", "Nass", true},
        {text, section, localizeFormat, "new", "Nass", false},
        {same, section, 0, same, same, true},
        {same, section, 0, "new", same, false},
        {text, other, 0, nullptr, text, true}, // no answer is no translation, and none to keep
        {text, other, 0, "Feucht", "Feucht", true},
        {text, section, localizeUncached, "once", "once", true},
        {text, section, 0, "new", "Nass", false},
    };
    for (const auto &turn : turns) {
        calls = 0;
        answer = turn.answer;
        EXPECT_STREQ(localizedText(turn.text, turn.section, turn.flags), turn.result);
        EXPECT_EQ(calls, turn.asked ? 1 : 0) << &turn - turns;
        EXPECT_TRUE(lastFlags & localizeUncached);
    }
    hostFunctions.__localizeFunc = nullptr;
}

} // namespace
} // namespace tonvale
