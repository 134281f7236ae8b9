#include "Outcomes.h"
#include "SecretForms.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

bool isIn(const std::string& text) {
    return text.find(kPlanted) != std::string::npos;
}

// The Nth: all of them take minutes under the sanitizers.
constexpr std::size_t kEveryForm = PDALINK_IS_SANITIZED ? 5 : 1;

TEST(Secrets, AreInNoOutputInWhateverFormTheyWereLogged) {
    std::size_t count = 0;
    for (const std::string& name : plantedNames()) {
        for (const SecretForm& form : secretForms(name)) {
            if (++count % kEveryForm != 0) {
                continue;
            }
            ASSERT_TRUE(isIn(form.log)) << form.form;
            const std::vector<Entry> entries = redactedEntries(form.log);
            EXPECT_FALSE(isIn(bytesOf(entries))) << name << ": " << form.form << "\n" << bytesOf(entries);
            EXPECT_FALSE(isIn(everyOutput(exchangesOf(entries)))) << name << ": " << form.form;
        }
    }
    EXPECT_GT(count, 10000U);
}

TEST(Secrets, AreFoundByThisTestWhenNothingIsMasked) {
    std::size_t shown = 0;
    for (const SecretForm& form : secretForms("Ex_Key")) {
        shown += isIn(everyOutput(exchangesOf(readEntries(form.log)))) ? 1 : 0;
    }
    EXPECT_GT(shown, secretForms("Ex_Key").size() / 3);
}

TEST(Secrets, AreMaskedOnceAndForAll) {
    for (const char* name : {"Ex_Key", "pKey", "CheckVal"}) {
        for (const SecretForm& form : secretForms(name)) {
            const std::string once = bytesOf(redactedEntries(form.log));
            EXPECT_EQ(bytesOf(redactedEntries(once)), once) << name << ": " << form.form;
        }
    }
}

TEST(Secrets, DoNotTakeTheirNeighboursWithThem) {
    for (const SecretForm& form : secretForms("Ex_Key")) {
        const std::vector<Exchange> exchanges = exchangesOf(redactedEntries(form.log));
        ASSERT_FALSE(exchanges.empty()) << form.form;
        EXPECT_EQ(exchanges.back().outcome, Outcome::Done) << form.form;
        EXPECT_EQ(exchanges.back().code, "600002") << form.form;
    }
}

} // namespace

} // namespace pdactl::log::test
