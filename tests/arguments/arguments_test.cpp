#include "arguments/arguments.h"

#include <fstream>
#include <iostream>
#include <regex>
#include <set>

#include "gtest/gtest.h"

namespace qorac::test {
namespace {

const Family& allFunctions() {
    static const Family family = [] {
        Family all;
        addSampleFormats(all);
        addMp3Decoding(all);
        addMp3FloatBanks(all);
        addMp3Encoding(all);
        addAac(all);
        addPrediction(all);
        addSbr(all);
        addMdct(all);
        addVlc(all);
        addMisc(all);
        return all;
    }();
    return family;
}

std::string function(const Entry& entry) { return entry.name().substr(0, entry.name().find(',')); }

TEST(Arguments, EachWrongOneAndEachPairGivesTheStatusThatIsTestedFirst) {
    for (const auto& entry : allFunctions().entries()) entry->check();
}

// The version query takes no arguments.
TEST(Arguments, EveryExportedFunctionIsHere) {
    std::set<std::string> here{"qoracGetLibVersion"}, exported;
    for (const auto& entry : allFunctions().entries()) here.insert(function(*entry));
    std::ifstream map(QORAC_EXPORTS);
    const std::regex exportedName("\\s*(qor\\w+);");
    std::smatch match;
    for (std::string line; std::getline(map, line);)
        if (std::regex_match(line, match, exportedName)) exported.insert(match[1]);
    for (const std::string& name : exported) EXPECT_TRUE(here.contains(name)) << name;
    for (const std::string& name : here) EXPECT_TRUE(exported.contains(name)) << name;
}

// A line for each entry: the function, and the statuses of its checks in their order.
void listStatuses() {
    for (const auto& entry : allFunctions().entries()) {
        std::cout << function(*entry);
        for (const QorStatus status : entry->statuses()) std::cout << ' ' << status;
        std::cout << '\n';
    }
}

}  // namespace
}  // namespace qorac::test

int main(int argc, char** argv) {
    if (argc == 2 && std::string(argv[1]) == "--statuses") {
        qorac::test::listStatuses();
        return 0;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
