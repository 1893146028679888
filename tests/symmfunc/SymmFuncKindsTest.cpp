#include "config/SymmFuncKind.hpp"

#include "support/StopCatcher.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace melta::test {
namespace {

TEST(SymmFuncKindsTest, CodesKeepTheNumbersOfTheNetworkFile) {
    EXPECT_EQ(findSymmFuncKind("many-body")->getCode(), 1);
    EXPECT_EQ(findSymmFuncKind("behler")->getCode(), 2);
    EXPECT_EQ(findSymmFuncKind("chebyshev")->getCode(), 3);
    EXPECT_EQ(findSymmFuncKind("cluster")->getCode(), 4);
    EXPECT_EQ(ManyBodyKind::code, 1);
    EXPECT_EQ(BehlerKind::code, 2);
    EXPECT_EQ(ChebyshevKind::code, 3);
    EXPECT_EQ(ClusterKind::code, 4);
}

TEST(SymmFuncKindsTest, KindsAreFoundByCode) {
    EXPECT_STREQ(findSymmFuncKind(BehlerKind::code)->getWord(), "behler");
    EXPECT_STREQ(findSymmFuncKind(ManyBodyKind::code)->getTitle(), "Many-Body Method");
}

TEST(SymmFuncKindsTest, UnknownCodesAndWordsAreNull) {
    EXPECT_EQ(findSymmFuncKind(0), nullptr);
    EXPECT_EQ(findSymmFuncKind(99), nullptr);
    EXPECT_EQ(findSymmFuncKind(""), nullptr);
    EXPECT_EQ(findSymmFuncKind("Chebyshev"), nullptr);
    EXPECT_EQ(findSymmFuncKind("chebyshev "), nullptr);
}

TEST(SymmFuncKindsTest, CodesAndWordsAreUnique) {
    std::set<int> codes;
    std::set<std::string> words;
    for (const SymmFuncKind* const kind : symmFuncKinds()) {
        EXPECT_NE(kind->getCode(), 0);
        EXPECT_TRUE(codes.insert(kind->getCode()).second) << kind->getWord();
        EXPECT_TRUE(words.insert(kind->getWord()).second) << kind->getWord();
    }
}

TEST(SymmFuncKindsTest, KindsThatShareAKeyMeanTheSameSetting) {
    std::map<std::string_view, const KeyRow*> rows;
    for (const SymmFuncKind* const kind : symmFuncKinds()) {
        for (const KeyRow& row : kind->keys()) {
            const KeyRow& first = *rows.emplace(row.key, &row).first->second;
            EXPECT_EQ(first.check, row.check) << row.key;
            EXPECT_EQ(first.target.index(), row.target.index()) << row.key;
        }
    }
    EXPECT_EQ(rows.size(), 15U);
}

TEST(SymmFuncKindsTest, SettingsOfAnUnknownKindStop) {
    Property property;
    property.symmFuncKind = 99;

    EXPECT_EQ(stopMessageOf([&] { symmFuncKindOf(property); }), "unknown symmetry function.");
}

} // namespace
} // namespace melta::test
