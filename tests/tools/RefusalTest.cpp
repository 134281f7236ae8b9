#include "PdactlRun.h"

#include <filesystem>

namespace {

using namespace pdalink::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// A command that ends before anything is sent.
struct Refusal {
    const char* name;
    std::string line; ///< what follows "pdactl"; "@name" is one of the files below
    int exitCode;
    const char* reason;
};

struct File {
    const char* name;
    std::string bytes;
};

// clang-format off
const std::vector<File> kFiles{
    {"one", "1"}, {"empty", "\n"}, {"blank", " \t"}, {"bytes", "\xff\xfe"}, {"nul", std::string("A\0B", 3)},
    {"angle", "L>"}, {"four", "1234"}, {"nothing", ""}, {"five", "12345"}, {"n\xffm", "12345"},
    {"codes", "11;22;"},
    {"twice", R"({"transCode":"600013","pdaNumber":"1","pda\u004eumber":"2"})"},
    {"uncounted", R"({"transCode":"600019","pdaNumber":"1","pTellerNo":"A"})"},
    {"unchecked", R"({"transCode":"600012","pdaNumber":"1","pKey":"1","CheckVal":""})"},
    {"strange", R"({"transCode":"600020"})"},
    {"long", std::string(16384 - 181 + 1, 'B')},
};

const std::string kBag = "bag write --org O --type 1 --number ";
const std::string kTwoLocks = "lock open --locks 'L1;L2;' --codes @codes ";
const std::string kOneLock = "lock open --locks 'L1;' --users-a 'A;' --users-b 'C;' ";

const std::vector<Refusal> kRefusals{
    {"no command", "", 2, "subcommand is required"},
    {"an unknown command", "fly", 2, "After \"pdactl\" comes one of: call, init, info"},
    {"half a command", "bag", 2, "After \"pdactl bag\" comes one of: write."},
    {"a missing option", "bag write", 2, "--number is required"},
    {"an unknown option", "info --no-such-option", 2, "--no-such-option"},
    {"an unknown schema", "schema log-all", 2, "There is no schema \"log-all\", but: call-file, doctor, "},
    {"no code", "call", 2, "CODE is required"},
    {"an unknown code", "call 600020", 2, "There is no code \"600020\"; they are 600001 to 600019"},
    {"a file without @", "call request.json", 2, "For a whole request give @FILE, or - for standard input."},
    {"a member without value", "call 600003 pBagNumber", 2, "\"pBagNumber\" is not key=value."},
    {"an unknown member", "call 600003 colour=red",
     2, "600003 takes no colour, but: pBagNumber, pAttrOrg, pBagType."},
    {"a member where none is", "call 600002 colour=red", 2, "600002 takes no colour, but: nothing."},
    {"missing members", "call 600003 pBagNumber=B1",
     2, "600003 also needs pAttrOrg, pBagType. Give each as NAME=VALUE."},
    {"no integer", "call 600006 pTaskID=T pTotal=many pLabelList=",
     2, "pTotal takes an integer, not \"many\""},
    {"no integer as an option", "inventory send --task T --total many --labels ''",
     2, "--total takes an integer, not \"many\""},
    {"a member beside a request", "call - pTaskID=T", 2, "- holds the whole request: leave MEMBER out."},
    {"no answer to a login", "login answer 'let him in'", 2, "give six digits"},
    {"too long an answer", "login answer 0000000", 2, "give six digits"},
    {"no answer to every login", "listen --seconds 1 --answer-login 1", 2, "give six digits"},
    {"no message to wait for", "listen --count 0", 2, "--count"},
    {"a member given twice", "call 600003 pBagNumber=A pBagNumber=B pAttrOrg=O pBagType=1",
     2, "pBagNumber is given twice."},
    {"a request with a member twice", "call @twice", 2, "pdaNumber is given twice in the request."},
    {"a request that would be refused", "call @strange --dry-run", 3, "The library would refuse the request"},
    // What a value may be.
    {"a folder", "key init --key @. --check-value @one",
     1, ".: file to open is a directory. Give a file that you may read."},
    {"a folder as a request", "call @.", 1, "file to open is a directory"},
    {"no file", "call @/no/such/file", 1, "Cannot read /no/such/file: No such file or directory."},
    {"other bytes than UTF-8", "key init --key @bytes --check-value @bytes",
     2, "--key holds bytes that are not UTF-8 text."},
    {"a NUL", "call 600012 pKey=@nul CheckVal=@one", 2, "pKey holds bytes that are not UTF-8 text."},
    {"other bytes as an option", kBag + "\xff", 2, "--number holds bytes that are not UTF-8 text."},
    {"an angle bracket", kBag + "'B<'",
     2, R"(--number holds "<" or ">", which have a meaning in the protocol.)"},
    {"an angle bracket in a member", "call 600013 'pdaNumber=<x>'", 2, R"(pdaNumber holds "<" or ">")"},
    {"an angle bracket in a file", "lock info --lock @angle", 2, R"(--lock holds "<" or ">")"},
    {"an angle bracket in an answer", "login answer 000000 --pda '<x>'", 2, R"(--pda holds "<" or ">")"},
    {"an uncounted value", "teller sync --tellers 'A;B'",
     2, "--tellers ends without \";\", so its last value would not be counted."},
    {"an uncounted value in a member", "call 600018 pAuthRet=000000", 2, "pAuthRet ends without \";\""},
    {"an uncounted value in a request", "call @uncounted", 2, "pTellerNo ends without \";\""},
    {"an empty key", "key init --key @empty --check-value @one",
     2, "--key is empty. Give its value; nothing was sent."},
    {"a blank check value", "key init --key @one --check-value @blank", 2, "--check-value is empty."},
    {"an empty working key", "key update --enc-key @one --mac-key @one --enc-check-value @one "
     "--mac-check-value @empty",
     2, "--mac-check-value is empty."},
    {"an empty key set", "lock init-keys --lock L1 --fv @one --ev @empty --cv @one", 2, "--ev is empty."},
    {"an empty factory code", "init --factory '' --dry-run", 2, "--factory is empty."},
    {"an empty user", "handover dot send --task T --type 1 --route R --time 1 --org 1 --org-name O --total "
     "0 --labels '' --user-a anna --user-b ''", 2, "--user-b is empty."},
    {"an empty member", "call 600012 pKey=@empty CheckVal=@one", 2, "pKey is empty."},
    {"an empty member of a request", "call @unchecked", 2, "CheckVal is empty."},
    {"an empty standard input", "key init --key - --check-value @one < /dev/null", 2, "--key is empty."},
    {"standard input twice", "key init --key - --check-value - < one",
     2, "Standard input can give one value only"},
    {"too large a total", "inventory send --task T --total 3 --labels 'A1;A2;'",
     2, "--total says 3, but --labels has 2 label(s)."},
    {"a negative total", "inventory send --task T --total -1 --labels 'A1;'",
     2, "--total says -1, but --labels has 1 label(s)."},
    {"a total without labels", "handover power send --task T --org 1 --time 2 --org-name O --batch N "
     "--total 1 --labels ''",
     2, "--total says 1, but --labels has 0 label(s)."},
    {"too small a total", "call 600006 pTaskID=T pTotal=1 'pLabelList=A1;A2'",
     2, "pTotal says 1, but pLabelList has 2 label(s)."},
    {"too long a message", kBag + "@long",
     2, "The message would have 16385 bytes, and a terminal takes 16384 at most."},
    {"too long a text with a file", "file send five --info $(head -c 17000 /dev/zero | tr '\\0' i)",
     2, " bytes, and a terminal takes 16384 at most."},
    // Secrets on the command line.
    {"an open key in a call", "call 600012 pKey=OPENLY CheckVal=OPENLY",
     2, "pKey is secret and must not be given on the command line"},
    {"an open key", "key init --key OPENLY --check-value @one", 2, "--key is secret"},
    {"an open working key", "key update --enc-key OPENLY --mac-key @one --enc-check-value @one "
     "--mac-check-value @one",
     2, "--enc-key is secret"},
    {"an open code", "lock open --locks 'L1;' --actions '00;' --codes 'OPENLY;' --users-a 'A;' "
     "--users-b 'B;'", 2, "--codes is secret"},
    {"an open key set", "lock init-keys --lock L1 --fv OPENLY --ev @one --cv @one", 2, "--fv is secret"},
    // Lists that do not go together.
    {"a user too few", kTwoLocks + "--users-a 'A;' --users-b 'C;D;'",
     2, "--users-a has 1 value(s), but --locks names 2."},
    {"a user too many", kTwoLocks + "--users-a 'A;B;' --users-b 'C;D;E;'", 2, "--users-b has 3 value(s)"},
    {"no users", kTwoLocks + "--users-a '' --users-b 'C;D;'", 2, "--users-a is empty."},
    {"a blank user", kTwoLocks + "--users-a 'A;B;' --users-b 'C; ;'", 2, "--users-b has an empty value"},
    {"empty codes", kOneLock + "--codes @nothing", 2, "--codes is empty."},
    {"a code too many", kOneLock + "--codes @codes", 2, "--codes has 2 value(s)"},
    {"no codes", kOneLock, 2, "--codes has 0 value(s)"},
    {"an action too few", kTwoLocks + "--users-a 'A;B;' --users-b 'C;D;' --actions '00;'",
     2, "--actions has 1 value(s)"},
    {"a wrong count", kTwoLocks + "--users-a 'A;B;' --users-b 'C;D;' --count 3",
     2, "--count says 3, but --locks names 2."},
    {"an empty lock", "lock open --locks 'L1;;L2;' --codes @codes --users-a 'A;B;' --users-b 'C;D;'",
     2, "--locks has an empty value"},
    {"no lock", "lock open --locks '' --codes @codes --users-a 'A;' --users-b 'C;'",
     2, "--locks names no lock."},
    // Files.
    {"too small a file", "file send four",
     2, "it has 4 bytes, and the protocol sends files of 5 bytes and more"},
    {"an empty file", "file send nothing", 2, "it has 0 bytes"},
    {"too large a file", "file send huge", 2, "at most 300000000 (600,000,000 hexadecimal digits)"},
    {"no file to send", "file send no-such-file", 1, "there is no such file"},
    {"a folder to send", "file send .", 1, "not a regular file"},
    {"no place for a file", "file fetch no/such/place", 1, "Cannot write"},
    {"a folder to fetch into", "file fetch .", 1, "not a regular file"},
    {"an angle bracket with a file", "file send five --info '<b>'", 2, "--info"},
    {"other bytes with a file", "file send five --info x\xffy", 2, "not UTF-8 text"},
    {"an angle bracket for a file", "file fetch new --info 'x>'", 2, "--info"},
    {"other bytes as a number", "file fetch new --pda \xff", 2, "--pda holds bytes that are not UTF-8 text"},
    {"a name of other bytes", "file send n\xffm", 2, "--info (the file's name unless given) holds bytes"},
};
// clang-format on

using RefusalTest = PdactlTest;

TEST_F(RefusalTest, ComesBeforeAnythingIsSent) {
    const std::string& directory = scratchDirectory();
    for (const File& file : kFiles) {
        writeFile(directory + "/" + file.name, file.bytes);
    }
    writeFile(directory + "/huge", "x");
    std::filesystem::resize_file(directory + "/huge", 300000001);
    for (const Refusal& refusal : kRefusals) {
        SCOPED_TRACE(refusal.name);
        const ProgramResult result = shell("cd " + quoted(directory) + "; pdactl " + refusal.line);
        EXPECT_EQ(result.exitCode, refusal.exitCode);
        EXPECT_THAT(result.errors, AllOf(HasSubstr(refusal.reason), Not(HasSubstr("OPENLY"))));
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(terminal().received(), IsEmpty());
    }
    EXPECT_THAT(readLogText(), Not(HasSubstr("OPENLY")));
    EXPECT_FALSE(std::filesystem::exists(directory + "/new"));
}

TEST_F(RefusalTest, IsToldInJsonToo) {
    EXPECT_THAT(json({"call", "600003"}, 2).value("message").toString().toStdString(),
                HasSubstr("also needs pBagNumber"));
    EXPECT_THAT(json({"fly"}, 2).value("message").toString().toStdString(), HasSubstr("--help"));
}

/// What is just allowed.
using ArgumentTest = PdactlTest;

TEST_F(ArgumentTest, IsReadFromAFileWithoutOneLineEnd) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"0123\n", "0123"}, {"4567\r\n", "4567"}, {"89\n\n", "89\n"}, {"ab", "ab"}};
    const std::string value = scratchDirectory() + "/value";
    const std::string fromFileAndInput = value + " < " + value;
    for (const auto& [bytes, expected] : rows) {
        writeFile(value, bytes);
        EXPECT_EQ(shell("pdactl call 600012 CheckVal=- pKey=@" + fromFileAndInput).exitCode, 0);
        EXPECT_EQ(terminal().state().keys.master->value, expected);
        EXPECT_EQ(terminal().state().keys.master->checkValue, expected);
        EXPECT_EQ(shell("pdactl key init --key - --check-value @" + fromFileAndInput).exitCode, 0);
        EXPECT_EQ(terminal().state().keys.master->value, expected);
    }
}

TEST_F(ArgumentTest, MayBeATotalOfNoLabelsAndOfLabelsBetweenWideSemicolons) {
    EXPECT_EQ(pdactl({"inventory", "send", "--task", "T", "--total", "0", "--labels", ""}).exitCode, 0);
    EXPECT_EQ(pdactl({"inventory", "send", "--task", "T", "--total", "2", "--labels", "A1\uff1bA2"}).exitCode,
              0);
}

TEST_F(ArgumentTest, MayFillTheLongestMessage) {
    const std::string number(16384 - 181, 'B');
    EXPECT_EQ(pdactl({"bag", "write", "--number", number, "--org", "O", "--type", "1"}).exitCode, 0);
    EXPECT_EQ(terminal().received().front().size(), 16384U);
}

/// How lists of values go together.
class LockOpenTest : public PdactlTest {
protected:
    /// The body that the terminal gets.
    std::string opened(const std::string& options) {
        writeFile(scratchDirectory() + "/codes", "11;22;");
        writeFile(scratchDirectory() + "/code", "11\n");
        const ProgramResult result =
            shell("cd " + quoted(scratchDirectory()) + "; pdactl lock open " + options);
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
    EXPECT_EQ(opened("--locks 'L1;L2;' --users-a 'A;B;' --users-b 'C;D;' --codes @codes"),
              "<Ex_LockNum>2</Ex_LockNum>" + entry("L1", "00", "11", "A", "C") +
                  entry("L2", "00", "22", "B", "D"));
}

TEST_F(LockOpenTest, TakesALastValueWithoutItsSemicolon) {
    EXPECT_EQ(opened("--locks L1 --users-a A --users-b B --codes @code"),
              "<Ex_LockNum>1</Ex_LockNum>" + entry("L1", "00", "11", "A", "B"));
}

TEST_F(LockOpenTest, NeedsNoCodesForOtherActions) {
    EXPECT_EQ(opened("--locks 'L1;L2;' --users-a 'A;B;' --users-b 'C;D;' --actions '01;02;'"),
              "<Ex_LockNum>2</Ex_LockNum>" + entry("L1", "01", "", "A", "C") +
                  entry("L2", "02", "", "B", "D"));
}

} // namespace
