#include "PdactlRun.h"

namespace {

using namespace pdalink::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// What a value may be, and how lists of values go together.
class ArgumentTest : public PdactlTest {
protected:
    std::string file(const std::string& bytes) {
        const std::string path = scratchDirectory() + "/value" + std::to_string(++m_files);
        writeFile(path, bytes);
        return "@" + path;
    }
    void refuses(const Words& arguments, int exitCode, const std::string& reason) {
        const ProgramResult result = pdactl(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << reason;
        EXPECT_THAT(result.errors, HasSubstr(reason));
        EXPECT_THAT(terminal().received(), IsEmpty());
    }
    std::string keyFrom(const std::string& bytes) {
        const std::string value = file(bytes);
        EXPECT_EQ(pdactl({"key", "init", "--key", value, "--check-value", value}).exitCode, 0);
        return terminal().state().keys.master->value;
    }

private:
    int m_files = 0;
};

TEST_F(ArgumentTest, IsReadFromAFileWithoutOneLineEnd) {
    EXPECT_EQ(keyFrom("0123\n"), "0123");
    EXPECT_EQ(keyFrom("4567\r\n"), "4567");
    EXPECT_EQ(keyFrom("89\n\n"), "89\n");
}

TEST_F(ArgumentTest, IsNotReadFromAFolder) {
    refuses({"key", "init", "--key", "@" + scratchDirectory(), "--check-value", file("1")}, 1,
            scratchDirectory() + ": file to open is a directory. Give a file that you may read.");
    refuses({"call", "@" + scratchDirectory()}, 1, "file to open is a directory");
}

TEST_F(ArgumentTest, IsRefusedUnlessItIsUtf8Text) {
    const std::string reason = " holds bytes that are not UTF-8 text.";
    refuses({"key", "init", "--key", file("\xff\xfe"), "--check-value", file("\xff\xfe")}, 2,
            "--key" + reason);
    refuses({"call", "600012", "pKey=" + file(std::string("A\0B", 3)), "CheckVal=" + file("1")}, 2, reason);
    refuses({"bag", "write", "--number", "\xff", "--org", "O", "--type", "1"}, 2, "--number" + reason);
}

TEST_F(ArgumentTest, IsRefusedWithAngleBrackets) {
    const std::string reason = R"( holds "<" or ">", which have a meaning in the protocol.)";
    refuses({"bag", "write", "--number", "B<", "--org", "O", "--type", "1"}, 2, "--number" + reason);
    refuses({"call", "600013", "pdaNumber=<x>"}, 2, "pdaNumber" + reason);
    refuses({"lock", "info", "--lock", file("L>")}, 2, "--lock" + reason);
    refuses({"login", "answer", "000000", "--pda", "<x>"}, 2, "--pda" + reason);
}

TEST_F(ArgumentTest, IsRefusedWhenItIsGivenTwice) {
    refuses({"call", "600003", "pBagNumber=A", "pBagNumber=B", "pAttrOrg=O", "pBagType=1"}, 2,
            "pBagNumber is given twice.");
    refuses({"call", file(R"({"transCode":"600013","pdaNumber":"1","pda\u004eumber":"2"})")}, 2,
            "pdaNumber is given twice in the request.");
}

TEST_F(ArgumentTest, IsRefusedAsAListWhoseLastValueWouldNotBeCounted) {
    const std::string reason = " ends without \";\", so its last value would not be counted.";
    refuses({"teller", "sync", "--tellers", "A;B"}, 2, "--tellers" + reason);
    refuses({"call", "600018", "pAuthRet=000000"}, 2, "pAuthRet" + reason);
    refuses({"call", file(R"({"transCode":"600019","pdaNumber":"1","pTellerNo":"A"})")}, 2,
            "pTellerNo" + reason);
}

TEST_F(ArgumentTest, IsRefusedWhenItIsEmptyAndNeeded) {
    const std::string reason = " is empty. Give its value; nothing was sent.";
    const std::string empty = file("\n");
    const std::string check = file("1");
    refuses({"key", "init", "--key", empty, "--check-value", check}, 2, "--key" + reason);
    refuses({"key", "init", "--key", check, "--check-value", file(" \t")}, 2, "--check-value" + reason);
    refuses({"key", "update", "--enc-key", check, "--mac-key", check, "--enc-check-value", check,
             "--mac-check-value", empty},
            2, "--mac-check-value" + reason);
    refuses({"lock", "init-keys", "--lock", "L1", "--fv", check, "--ev", empty, "--cv", check}, 2,
            "--ev" + reason);
    refuses({"init", "--factory", ""}, 2, "--factory" + reason);
    refuses({"handover", "dot",      "send", "--task",   "T",    "--type",     "1", "--route",
             "R",        "--time",   "1",    "--org",    "1",    "--org-name", "O", "--total",
             "0",        "--labels", "",     "--user-a", "anna", "--user-b",   ""},
            2, "--user-b" + reason);
    refuses({"call", "600012", "pKey=" + empty, "CheckVal=" + check}, 2, "pKey" + reason);
    refuses({"call", file(R"({"transCode":"600012","pdaNumber":"1","pKey":"1","CheckVal":""})")}, 2,
            "CheckVal" + reason);
    const ProgramResult closed = shell("pdactl key init --key - --check-value " + check + " < /dev/null");
    EXPECT_EQ(closed.exitCode, 2);
    EXPECT_THAT(closed.errors, HasSubstr("--key" + reason));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(ArgumentTest, IsRefusedAsATotalThatIsNotTheNumberOfLabels) {
    refuses({"inventory", "send", "--task", "T", "--total", "3", "--labels", "A1;A2;"}, 2,
            "--total says 3, but --labels has 2 label(s).");
    refuses({"inventory", "send", "--task", "T", "--total", "-1", "--labels", "A1;"}, 2,
            "--total says -1, but --labels has 1 label(s).");
    refuses({"handover", "power", "send", "--task", "T", "--org", "1", "--time", "2", "--org-name", "O",
             "--batch", "N", "--total", "1", "--labels", ""},
            2, "--total says 1, but --labels has 0 label(s).");
    refuses({"call", "600006", "pTaskID=T", "pTotal=1", "pLabelList=A1;A2"}, 2,
            "pTotal says 1, but pLabelList has 2 label(s).");
    EXPECT_EQ(pdactl({"inventory", "send", "--task", "T", "--total", "0", "--labels", ""}).exitCode, 0);
    EXPECT_EQ(pdactl({"inventory", "send", "--task", "T", "--total", "2", "--labels", "A1\uff1bA2"}).exitCode,
              0);
}

TEST_F(ArgumentTest, IsRefusedWhenTheMessageWouldBeTooLong) {
    const auto bagOfBytes = [this](std::size_t count) {
        return Words{"bag", "write", "--number", file(std::string(count, 'B')), "--org", "O", "--type", "1"};
    };
    const std::size_t most = 16384 - 181;
    refuses(bagOfBytes(most + 1), 2,
            "The message would have 16385 bytes, and a terminal takes 16384 at most.");
    refuses({"file", "send", file("12345").substr(1), "--info", std::string(17000, 'i')}, 2,
            " bytes, and a terminal takes 16384 at most.");
    EXPECT_EQ(pdactl(bagOfBytes(most)).exitCode, 0);
    EXPECT_EQ(terminal().received().front().size(), 16384U);
}

class LockOpenTest : public ArgumentTest {
protected:
    static Words open(const std::string& locks, const std::string& usersA, const std::string& usersB,
                      const Words& more) {
        Words words{"lock", "open", "--locks", locks, "--users-a", usersA, "--users-b", usersB};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    /// The body that the terminal gets.
    std::string opened(const Words& words) {
        const ProgramResult result = pdactl(words);
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_THAT(terminal().received(), SizeIs(1));
        const std::string message =
            terminal().received().empty() ? std::string() : terminal().received().back();
        const std::size_t begin = message.find("<Ex_LockNum>");
        return begin == std::string::npos ? message : message.substr(begin);
    }
    static std::string entry(const std::string& lock, const std::string& action, const std::string& code,
                             const std::string& userA, const std::string& userB) {
        return "<LockList><Ex_LockId>" + lock + "</Ex_LockId><Ex_Action>" + action +
               "</Ex_Action><Ex_OTCCode>" + code + "</Ex_OTCCode><Ex_UserA>" + userA +
               "</Ex_UserA><Ex_UserB>" + userB + "</Ex_UserB></LockList>";
    }
};

TEST_F(LockOpenTest, CountsTheLocksAndOpensEach) {
    EXPECT_EQ(opened(open("L1;L2;", "A;B;", "C;D;", {"--codes", file("11;22;")})),
              "<Ex_LockNum>2</Ex_LockNum>" + entry("L1", "00", "11", "A", "C") +
                  entry("L2", "00", "22", "B", "D"));
}

TEST_F(LockOpenTest, TakesALastValueWithoutItsSemicolon) {
    EXPECT_EQ(opened(open("L1", "A", "B", {"--codes", file("11\n")})),
              "<Ex_LockNum>1</Ex_LockNum>" + entry("L1", "00", "11", "A", "B"));
}

TEST_F(LockOpenTest, NeedsNoCodesForOtherActions) {
    EXPECT_EQ(opened(open("L1;L2;", "A;B;", "C;D;", {"--actions", "01;02;"})),
              "<Ex_LockNum>2</Ex_LockNum>" + entry("L1", "01", "", "A", "C") +
                  entry("L2", "02", "", "B", "D"));
}

TEST_F(LockOpenTest, RefusesListsThatDoNotGoTogether) {
    const std::string codes = file("11;22;");
    refuses(open("L1;L2;", "A;", "C;D;", {"--codes", codes}), 2,
            "--users-a has 1 value(s), but --locks names 2.");
    refuses(open("L1;L2;", "A;B;", "C;D;E;", {"--codes", codes}), 2, "--users-b has 3 value(s)");
    refuses(open("L1;L2;", "", "C;D;", {"--codes", codes}), 2, "--users-a is empty.");
    refuses(open("L1;L2;", "A;B;", "C; ;", {"--codes", codes}), 2, "--users-b has an empty value");
    refuses(open("L1;", "A;", "C;", {"--codes", file("")}), 2, "--codes is empty.");
    refuses(open("L1;", "A;", "C;", {"--codes", codes}), 2, "--codes has 2 value(s)");
    refuses(open("L1;", "A;", "C;", {}), 2, "--codes has 0 value(s)");
    refuses(open("L1;L2;", "A;B;", "C;D;", {"--codes", codes, "--actions", "00;"}), 2,
            "--actions has 1 value(s)");
    refuses(open("L1;L2;", "A;B;", "C;D;", {"--codes", codes, "--count", "3"}), 2,
            "--count says 3, but --locks names 2.");
    refuses(open("L1;;L2;", "A;B;", "C;D;", {"--codes", codes}), 2, "--locks has an empty value");
    refuses(open("", "A;", "C;", {"--codes", codes}), 2, "--locks names no lock.");
}

} // namespace
