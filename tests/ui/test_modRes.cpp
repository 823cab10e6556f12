#include "tests/platform/locale.h"
#include "ui/modRes.h"

#include <gtest/gtest.h>

#include <thread>

namespace tsasync {

namespace {

class ModRes : public testing::Test {
  protected:
    void SetUp() override {
        testplatform::SetLocale(1033, u".");
        modRes::SetResModule(-1);
    }
};

struct Lookup {
    std::int32_t language, user, id;
    std::u16string_view text;
};

void Expect(const Lookup& lookup) {
    testplatform::SetLocale(lookup.user, u".");
    modRes::SetLangID(lookup.language);
    EXPECT_EQ(modRes::LoadResText(lookup.id), lookup.text)
        << lookup.id << " in " << lookup.language << " of a user of " << lookup.user;
}

TEST_F(ModRes, FindsTheTextInTheChosenLanguageThenTheUsersThenInEnglish) {
    const Lookup lookups[] = {
        {1036, 1033, 105, u"Annuler"},
        {1036, 1033, 101, u"Enregistrement :"},
        {1031, 1033, 102, u"Gesch\u00E4tzte verbleibende Zeit:"},
        {1034, 1033, 1000, u"Error de lectura as\u00EDncrona"},
        {1040, 1033, 1016, u"Termina operazione di sincronizzazione"},
        {1043, 1033, 1006, u"Download be\u00EBindigen"},
        {1033, 1043, 117, u"Completed"},
        // the last string of block 7 and the first of block 8; the last of block 63 and the first of block 64
        {1031, 1033, 111, u"Wird heruntergeladen"},
        {1031, 1033, 112, u"Std."},
        {1043, 1033, 1005, u"Bezig met downloaden"},
        {1034, 1033, 1010, u"Usando copia en cach\u00E9"},
        // the user's default language
        {0, 1036, 105, u"Annuler"},
        {-7, 1040, 105, u"Annulla"},
        {0, 0, 105, u"Cancel"},
        {0, 1041, 105, u"Cancel"},
        // no text
        {1033, 1033, 1007, u""},
        {1033, 1033, 1012, u""},
        {1033, 1033, 118, u""},
        {1033, 1033, 5000, u""},
        {1033, 1033, -5, u""},
        {1033, 1033, 2147483647, u""}};
    for (const Lookup& lookup : lookups) Expect(lookup);
    modRes::SetResModule(4711);  // another one has no texts
    EXPECT_EQ(modRes::LoadResText(105), u"");
}

// Another German is not German (Germany).
TEST_F(ModRes, LeavesTheChoiceToTheSystemBeforeEnglish) {
    Expect({2055, 1033, 105, u"Cancel"});
    Expect({2055, 1036, 105, u"Annuler"});
    Expect({2055, 2055, 105, u"Abbrechen"});
}

TEST_F(ModRes, TakesTheUsersLanguageWhenItIsChosenAndNotLater) {
    testplatform::SetLocale(1031, u".");
    modRes::SetLangID(0);
    testplatform::SetLocale(1036, u".");
    EXPECT_EQ(modRes::LoadResText(105), u"Abbrechen");
}

TEST_F(ModRes, EveryThreadHasItsOwnModuleAndLanguage) {
    modRes::SetLangID(1036);
    std::u16string withoutModule = u"?";
    std::u16string neutral;
    std::thread([&] {
        withoutModule = modRes::LoadResText(105);
        testplatform::SetLocale(1043, u".");
        modRes::SetResModule(-1);
        neutral = modRes::LoadResText(105);
    }).join();
    EXPECT_EQ(withoutModule, u"");
    EXPECT_EQ(neutral, u"Annuleren");
    EXPECT_EQ(modRes::LoadResText(105), u"Annuler");
}

}  // namespace

}  // namespace tsasync
