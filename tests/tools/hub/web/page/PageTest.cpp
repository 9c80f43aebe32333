// SPDX-License-Identifier: MIT
#include "tools/hub/web/page/Page.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

using namespace feedline::hub::web;

namespace {

TEST(PageTest, TheRootIsThePage) {
    ASSERT_NE(pageFile("/"), nullptr);
    EXPECT_EQ(pageFile("/"), pageFile("/index.html"));
    EXPECT_EQ(pageFile("/")->type, "text/html; charset=utf-8");
    EXPECT_TRUE(pageFile("/")->content.starts_with("<!doctype html>"));
    EXPECT_TRUE(pageFile("/")->content.ends_with("</html>\n"));
}

TEST(PageTest, NothingElseIsThere) {
    for (const char* const path : {"", "/nothing", "index.html", "//", "/../page.css", "/main.js/"})
        EXPECT_EQ(pageFile(path), nullptr) << path;
}

TEST(PageTest, EveryFileHasATagOfItsOwn) {
    std::set<std::string_view> tags;
    for (const PageFile& file : pageFiles()) {
        EXPECT_TRUE(std::regex_match(std::string(file.tag), std::regex("\"[0-9a-f]{32}\"")));
        tags.insert(file.tag);
    }
    EXPECT_EQ(tags.size(), pageFiles().size());
}

// What a file asks for must be compiled in, or the page is broken where there is no network.
TEST(PageTest, WhateverAFileAsksForIsThere) {
    const std::regex asked(
        R"re((?:from|import|addModule\(|href=|src=)\s*"(?:\./)?([^"#:]+\.[a-z]+)")re");
    int found = 0;
    for (const PageFile& file : pageFiles()) {
        const std::string text(file.content);
        for (auto at = std::sregex_iterator(text.begin(), text.end(), asked);
             at != std::sregex_iterator(); ++at, ++found)
            EXPECT_NE(pageFile("/" + (*at)[1].str()), nullptr)
                << file.path << " asks for " << (*at)[1];
    }
    EXPECT_GT(found, 10);
}

TEST(PageTest, NothingComesFromAnotherSite) {
    for (const PageFile& file : pageFiles()) {
        std::string text(file.content);
        text = std::regex_replace(text, std::regex("http://www\\.w3\\.org/2000/svg"), "");
        EXPECT_EQ(text.find("//cdn"), std::string::npos) << file.path;
        EXPECT_FALSE(std::regex_search(text, std::regex("https?://"))) << file.path;
    }
}

} // namespace
