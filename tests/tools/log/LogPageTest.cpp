#include "LogLines.h"
#include "Pdactl.h"
#include "PrivateDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace pdactl::log::test {

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;

bool hasBrowser() {
    return runProgram({"sh", "-c", "command -v chromium"}).exitCode == 0;
}

/// The page as the browser has understood it.
std::string rendered(const std::string& page) {
    const std::string profile = scratchDirectory() + "/profile";
    std::filesystem::create_directories(profile);
    const ProgramResult result =
        runProgram({"timeout", "--kill-after=5", "150", "chromium", "--headless", "--no-sandbox",
                    "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
                    "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
                    "--user-data-dir=" + profile, "--dump-dom", "file://" + page});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output;
}

std::string pageOf(const LogText& log) {
    std::string page = scratchDirectory() + "/page.html";
    writeFile(scratchDirectory() + "/page.log", log.text());
    EXPECT_EQ(pdactlLog({scratchDirectory() + "/page.log", "--html", page}).exitCode, 0);
    return page;
}

TEST(LogPage, IsUnderstoodByABrowser) {
    if (!hasBrowser()) {
        GTEST_SKIP() << "chromium is not installed";
    }
    LogText log;
    log.getInfo().after(1000).getInfo().after(1000);
    log.request(R"({"pKey":"S3CR3T","transCode":"600012"})").step("[KeyInit] begin");
    log.written(message("8012", tag("Ex_Key", "S3CR3T"))).after(4900).read("");
    log.response(R"({"pRetCode":"000060","transCode":"600012"})", 2).after(1000);
    log.request(R"({"a":"<script>document.title='x'</script>"})")
        .step("info msg:<img src=x onerror=alert(1)>");
    log.response("{}", -1);
    const std::string dom = rendered(pageOf(log));
    EXPECT_TRUE(contains(dom, "<title>Terminal log</title>"));
    EXPECT_TRUE(contains(dom, "<dd id=\"count\">4</dd>")) << dom.substr(0, 2000);
    EXPECT_TRUE(contains(dom, "<dd id=\"failures\">2</dd>"));
    EXPECT_EQ(count(dom, "<svg "), 2U);
    EXPECT_EQ(count(dom, "role=\"img\""), 2U);
    EXPECT_EQ(count(dom, "<path class=\"bad\""), 2U);
    EXPECT_EQ(count(dom, "<table>"), 3U);
    EXPECT_EQ(count(dom, "<details>"), 6U) << "four exchanges, and the two failures once more";
    EXPECT_TRUE(contains(dom, "no-reply"));
    EXPECT_TRUE(contains(dom, "4.900 s"));
    EXPECT_TRUE(contains(dom, "&lt;img src=x onerror=alert(1)&gt;"));
    EXPECT_FALSE(contains(dom, "<script"));
    EXPECT_FALSE(contains(dom, "<img"));
    EXPECT_FALSE(contains(dom, "S3CR3T"));
    ASSERT_TRUE(contains(dom, "</main>"));
    EXPECT_EQ(dom.rfind("<table"), dom.substr(0, dom.find("</main>")).rfind("<table"))
        << "the markup does not close what it opens";
}

} // namespace

} // namespace pdactl::log::test
