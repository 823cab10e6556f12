// Binding by slot: the method table, entry by entry, under every identifier.
#include "com/ItemObject.h"
#include "com/ManagerObject.h"
#include "tests/com/com_test.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

namespace tsasync::test {
namespace {

// The entry behind the seven of IDispatch, as a compiler of another language calls it.
template <typename... Arguments>
HRESULT CallSlot(IUnknown* object, int slot, Arguments... arguments) {
    void** table = nullptr;
    std::memcpy(&table, static_cast<void*>(object), sizeof table);
    HRESULT(STDMETHODCALLTYPE * member)(IUnknown*, Arguments...) = nullptr;
    std::memcpy(&member, &table[6 + slot], sizeof member);
    return member(object, arguments...);
}

template <typename... Arguments>
void Do(IUnknown* object, int slot, Arguments... arguments) {
    EXPECT_EQ(CallSlot(object, slot, arguments...), S_OK) << "slot " << slot;
}

template <typename T, typename... Arguments>
T From(IUnknown* object, int slot, Arguments... arguments) {
    T value{};
    Do(object, slot, arguments..., &value);
    return value;
}

template <typename... Arguments>
std::u16string TextFrom(IUnknown* object, int slot, Arguments... arguments) {
    host::Bstr text;
    Do(object, slot, arguments..., text.Put());
    return text.Text();
}

class ManagerSlots : public ComTest, public testing::WithParamInterface<IID> {};

TEST_P(ManagerSlots, AreTheMembersInOrder) {
    const auto object = host::Query<IUnknown>(manager.Get(), GetParam());
    IUnknown* const m = object.Get();
    const host::Bstr url(u"http://host/a.png");
    const host::Bstr name(u"picture");
    const host::Bstr handle(TextFrom(m, 1, BSTR(url), BSTR(name), VARIANT_FALSE));
    EXPECT_FALSE(handle.Text().empty());

    EXPECT_EQ(From<VARIANT_BOOL>(m, 2), VARIANT_FALSE);
    Do(m, 3, VARIANT_BOOL{1});
    EXPECT_EQ(From<VARIANT_BOOL>(m, 2), VARIANT_TRUE);

    const host::Bstr folder(u"C:\\Assets");
    EXPECT_NE(TextFrom(m, 4), u"C:\\Assets");
    Do(m, 5, BSTR(folder));
    EXPECT_EQ(TextFrom(m, 4), u"C:\\Assets");

    Do(m, 7, SHORT{-5});
    EXPECT_EQ(From<SHORT>(m, 6), -5);
    EXPECT_EQ(From<SHORT>(m, 11), 1);

    VARIANT_BOOL* const noForce = nullptr;
    Do(m, 8, BSTR(handle), tsdPending, 1.0, noForce);
    Do(m, 7, SHORT{0});
    Do(m, 8, BSTR(handle), tsdStopped, 1.0, noForce);
    Do(m, 8, BSTR(handle), tsdPending, 999999.0, noForce);
    EXPECT_EQ(TextFrom(m, 9), u"") << "nothing is due";

    EXPECT_EQ(TextFrom(m, 13, BSTR(url)), handle.Text());
    Do(m, 10, BSTR(handle));
    EXPECT_EQ(TextFrom(m, 13, BSTR(url)), u"") << "no longer registered";
    EXPECT_EQ(TextFrom(m, 14, BSTR(url)), handle.Text());

    const host::Bstr target(u"");
    Do(m, 12, BSTR(target), LONG{0});
    Do(m, 15, LONG{1031});
}

INSTANTIATE_TEST_SUITE_P(Identifiers, ManagerSlots,
                         testing::Values(IID__CDLManager, IID_CDLManager___v0, IID_CDLManager___v1));

template <typename T>
struct Property {
    int put, get;
    T value;
};

class ItemSlots : public ComTest, public testing::WithParamInterface<IID> {};

TEST_P(ItemSlots, AreTheMembersInOrder) {
    const auto item = ItemFrom([this] { Add(u"http://host/a.png"); });
    const auto object = host::Query<IUnknown>(item.Get(), GetParam());
    IUnknown* const i = object.Get();
    const Property<std::u16string> texts[] = {{1, 2, u"Name"},  {5, 6, u"FinalPath"}, {7, 8, u"TmpPath"},
                                              {17, 18, u"URL"}, {19, 20, u"Handle"},  {23, 24, u"MIMEType"}};
    const Property<LONG> longs[] = {{22, 21, -3}, {11, 12, 400}, {15, 14, 50}};
    // Size raises TotalSize, so they are put in this order and read when all are put.
    for (const auto& text : texts) Do(i, text.put, BSTR(host::Bstr(text.value)));
    for (const auto& number : longs) Do(i, number.put, number.value);
    Do(i, 3, SHORT{-1});
    Do(i, 9, DATE{36585.75});
    Do(i, 13, LONG{7});

    for (const auto& text : texts) EXPECT_EQ(TextFrom(i, text.get), text.value);
    for (const auto& number : longs) EXPECT_EQ(From<LONG>(i, number.get), number.value) << number.get;
    EXPECT_EQ(From<SHORT>(i, 4), -1);
    EXPECT_EQ(From<DATE>(i, 10), 36585.75);
    EXPECT_EQ(From<LONG>(i, 16), 7);
}

INSTANTIATE_TEST_SUITE_P(Identifiers, ItemSlots, testing::Values(IID__CDLItem, IID_CDLItem___v0));

using Slots = ComTest;

TEST_F(Slots, StringsKeepEveryUnit) {
    const auto item = ItemFrom([this] { Add(u"http://host/a.png"); });
    const std::u16string odd{u'a', 0, 0xD800, 0xFFFF};
    ASSERT_EQ(item->put_Name(host::Bstr(odd)), S_OK);
    EXPECT_EQ(TextFrom(item.Get(), 2), odd);
    ASSERT_EQ(item->put_Name(nullptr), S_OK);
    EXPECT_EQ(TextFrom(item.Get(), 2), u"");
}

TEST_F(Slots, ResultWithoutAPlaceIsRefused) {
    const auto item = ItemFrom([this] { Add(u"http://host/a.png"); });
    EXPECT_EQ(manager->Elect(nullptr), E_POINTER);
    EXPECT_EQ(manager->get_AutoStart(nullptr), E_POINTER);
    EXPECT_EQ(manager->get_Jobs(nullptr), E_POINTER);
    EXPECT_EQ(manager->AddURL(nullptr, nullptr, VARIANT_FALSE, nullptr), E_POINTER);
    EXPECT_EQ(item->get_Name(nullptr), E_POINTER);
    EXPECT_EQ(item->get_Size(nullptr), E_POINTER);
    SHORT jobs = 0;
    EXPECT_EQ(manager->get_Jobs(&jobs), S_OK);
    EXPECT_EQ(jobs, 1) << "a refused call must register nothing";
}

TEST_F(Slots, TablesListTheContract) {
    struct Row {
        const char16_t* name;
        char kind;
        unsigned id;
    };
    const Row managerRows[] = {
        {u"AddURL", 'm', 0x60030005},     {u"AutoStart", 'g', 0x68030003},   {u"AutoStart", 'p', 0x68030003},
        {u"AssetsPath", 'g', 0x68030002}, {u"AssetsPath", 'p', 0x68030002},  {u"ActiveJobs", 'g', 0x68030001},
        {u"ActiveJobs", 'p', 0x68030001}, {u"ChangeState", 'm', 0x6003000B}, {u"Elect", 'm', 0x6003000C},
        {u"RemoveURL", 'm', 0x6003000E},  {u"Jobs", 'g', 0x68030000},        {u"StartLog", 'm', 0x6003000F},
        {u"HDLbyURL", 'm', 0x60030011},   {u"GetHDL", 'm', 0x60030019},      {u"LangID", 'p', 0x6803001A}};
    const Row itemRows[] = {
        {u"Name", 'p', 0x6803000A},     {u"Name", 'g', 0x6803000A},      {u"Attempts", 'p', 0x68030009},
        {u"Attempts", 'g', 0x68030009}, {u"FinalPath", 'p', 0x68030008}, {u"FinalPath", 'g', 0x68030008},
        {u"TmpPath", 'p', 0x68030007},  {u"TmpPath", 'g', 0x68030007},   {u"Start", 'p', 0x68030006},
        {u"Start", 'g', 0x68030006},    {u"Size", 'p', 0x68030005},      {u"Size", 'g', 0x68030005},
        {u"State", 'p', 0x68030004},    {u"TotalSize", 'g', 0x68030003}, {u"TotalSize", 'p', 0x68030003},
        {u"State", 'g', 0x68030004},    {u"URL", 'p', 0x68030002},       {u"URL", 'g', 0x68030002},
        {u"Handle", 'p', 0x68030001},   {u"Handle", 'g', 0x68030001},    {u"RefCount", 'g', 0x6803000D},
        {u"RefCount", 'p', 0x6803000D}, {u"MIMEType", 'p', 0x6803000B},  {u"MIMEType", 'g', 0x6803000B}};
    static const std::map<char, WORD> kKinds{
        {'m', DISPATCH_METHOD}, {'g', DISPATCH_PROPERTYGET}, {'p', DISPATCH_PROPERTYPUT}};
    const auto compare = [](const com::MemberTable& table, std::span<const Row> rows) {
        ASSERT_EQ(table.size(), rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(table[i].name, rows[i].name) << "slot " << i + 1;
            EXPECT_EQ(table[i].kind, kKinds.at(rows[i].kind)) << "slot " << i + 1;
            EXPECT_EQ(static_cast<unsigned>(table[i].id), rows[i].id) << "slot " << i + 1;
        }
    };
    compare(com::ManagerMembers(), managerRows);
    compare(com::ItemMembers(), itemRows);
}

}  // namespace
}  // namespace tsasync::test
