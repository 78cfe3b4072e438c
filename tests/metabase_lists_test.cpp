#include "web/metabase_lists.h"

#include <gmock/gmock.h>

using namespace setupactions;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TextList Parse(const std::wstring& characters) {
    return ParseMultiSz(characters.data(), characters.size());
}

std::wstring Zeros(const wchar_t* text, size_t length) { return std::wstring(text, length); }

} // namespace

TEST(MetabaseLists, AreReadToTheirEndMarkOrTheLastCharacter) {
    const struct {
        const char* title;
        std::wstring characters;
        TextList list;
    } cases[] = {
        {"two texts", Zeros(L"a\0bc\0\0", 6), {L"a", L"bc"}},
        {"empty", Zeros(L"\0\0", 2), {}},
        {"no characters", L"", {}},
        {"no second end mark", Zeros(L"a\0bc\0", 5), {L"a", L"bc"}},
        {"no end mark at all", L"abc", {L"abc"}},
        {"rubbish behind the end mark", Zeros(L"a\0\0zz\0\0", 7), {L"a"}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(Parse(row.characters), row.list) << row.title;
}

TEST(MetabaseLists, AreWrittenWithBothEndMarks) {
    EXPECT_EQ(FormatMultiSz({L"a", L"bc"}), Zeros(L"a\0bc\0\0", 6));
    EXPECT_EQ(FormatMultiSz({}), Zeros(L"\0\0", 2));
    const TextList long_list(500, std::wstring(1000, L'x'));
    EXPECT_EQ(Parse(FormatMultiSz(long_list)), long_list);
}

TEST(MetabaseLists, AMappingIsMatchedByItsWholeKeyInItsCase) {
    const TextList list = {L".asp,c,1",      L".aspx,old,1", L".ASPX,capital,1", L".aspx",
                           L".aspx,older,5", L"x.aspx,y",    L".aspxx,z",        L".aspx ,blank"};
    const TextList rest = {L".asp,c,1", L".ASPX,capital,1", L".aspx",
                           L"x.aspx,y", L".aspxx,z",        L".aspx ,blank"};
    EXPECT_EQ(WithoutMapping(list, L".aspx"), rest) << "every entry goes, not only the first";
    EXPECT_EQ(WithoutMapping(list, L".none"), list);
    EXPECT_THAT(WithoutMapping({}, L".aspx"), IsEmpty());

    TextList added = WithMapping(list, L".aspx", L"C:\\new.dll", true);
    ASSERT_EQ(added.size(), rest.size() + 1);
    EXPECT_EQ(added[0], L".aspx,C:\\new.dll,1");
    added.erase(added.begin());
    EXPECT_EQ(added, rest) << "older entries keep their order";
    EXPECT_THAT(WithMapping({L".rpt,a"}, L".rpt", L"x/y", false), ElementsAre(L".rpt,x/y"));
}

TEST(MetabaseLists, AnExtensionIsFoundInSmallLettersOnly) {
    const TextList list = {L"0,*.dll", L"1,C:\\XAZISAPI.dll,1,,Suite", L"1,c:\\xazisapi.dll"};
    EXPECT_THAT(WithoutExtension(list, L"xazisapi.dll"), ElementsAre(L"0,*.dll"));
    EXPECT_EQ(WithoutExtension(list, L"xazISAPI.dll"), list) << "the name itself is not lowered";
}
