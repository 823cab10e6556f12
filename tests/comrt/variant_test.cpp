#include "tests/comrt/counted_object.h"
#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using tsasync::host::Bstr;
using tsasync::test::CountedObject;

// A value of this type; a number where one is given.
VARIANT Of(int type, double number = 0) {
    VARIANT value;
    VariantInit(&value);
    value.vt = static_cast<VARTYPE>(type);
    if (type == VT_R4) {
        value.fltVal = static_cast<float>(number);
    } else if (type == VT_R8 || type == VT_DATE) {
        value.dblVal = number;
    } else {
        value.llVal = static_cast<LONGLONG>(number);
    }
    return value;
}

VARIANT OfText(const Bstr& text) {
    VARIANT value = Of(VT_BSTR);
    value.bstrVal = text;
    return value;
}

std::u16string TextOf(const VARIANT& value) { return {value.bstrVal, SysStringLen(value.bstrVal)}; }

// Read from the one member of its type.
double NumberOf(const VARIANT& value) {
    switch (value.vt) {
        case VT_I1:
            return static_cast<signed char>(value.cVal);
        case VT_UI1:
            return value.bVal;
        case VT_I2:
        case VT_BOOL:
            return value.iVal;
        case VT_I4:
            return value.lVal;
        case VT_UI4:
            return value.ulVal;
        case VT_R4:
            return value.fltVal;
        case VT_R8:
        case VT_DATE:
            return value.dblVal;
        default:
            ADD_FAILURE() << "no number of type " << value.vt;
            return 0;
    }
}

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr HRESULT kOverflow = DISP_E_OVERFLOW;
constexpr HRESULT kMismatch = DISP_E_TYPEMISMATCH;

TEST(Variants, NumbersConvert) {
    const struct {
        VARTYPE from;
        double value;
        VARTYPE to;
        HRESULT result;
        double expected;
    } rows[] = {// Halves go to the even neighbour.
                {VT_R8, 0.5, VT_I4, S_OK, 0},
                {VT_R8, 1.5, VT_I4, S_OK, 2},
                {VT_R8, 2.5, VT_I2, S_OK, 2},
                {VT_R8, -1.5, VT_I2, S_OK, -2},
                {VT_R4, -0.5, VT_I4, S_OK, 0},
                // The borders of each type.
                {VT_I4, 32767, VT_I2, S_OK, 32767},
                {VT_I4, 32768, VT_I2, kOverflow, 0},
                {VT_I4, -32769, VT_I2, kOverflow, 0},
                {VT_I2, -1, VT_UI1, kOverflow, 0},
                {VT_I2, 255, VT_UI1, S_OK, 255},
                {VT_I2, 128, VT_I1, kOverflow, 0},
                {VT_I2, -128, VT_I1, S_OK, -128},
                {VT_R8, 2147483647.4, VT_I4, S_OK, 2147483647},
                {VT_R8, 2147483647.5, VT_I4, kOverflow, 0},
                {VT_R8, 4294967295.0, VT_UI4, S_OK, 4294967295.0},
                {VT_I8, -1, VT_UI8, kOverflow, 0},
                {VT_R8, 1e19, VT_I8, kOverflow, 0},
                {VT_R8, kNan, VT_I4, kOverflow, 0},
                {VT_R8, 1e39, VT_R4, kOverflow, 0},
                {VT_UI4, 4294967295.0, VT_I4, kOverflow, 0},
                // Booleans are -1 and 0; any number but zero is true.
                {VT_I4, 1, VT_BOOL, S_OK, -1},
                {VT_R8, 0.25, VT_BOOL, S_OK, -1},
                {VT_I4, 0, VT_BOOL, S_OK, 0},
                {VT_BOOL, -1, VT_I4, S_OK, -1},
                {VT_BOOL, -1, VT_R8, S_OK, -1},
                // Nothing is zero.
                {VT_EMPTY, 0, VT_I2, S_OK, 0},
                {VT_EMPTY, 0, VT_DATE, S_OK, 0},
                {VT_NULL, 0, VT_I2, kMismatch, 0},
                {VT_ERROR, 5, VT_I4, kMismatch, 0},
                // Dates are numbers within the calendar.
                {VT_R8, 45000.5, VT_DATE, S_OK, 45000.5},
                {VT_DATE, 45000.5, VT_I4, S_OK, 45000},
                {VT_R8, 2958466, VT_DATE, kOverflow, 0},
                {VT_R8, -657435, VT_DATE, kOverflow, 0},
                {VT_I4, 7, VT_CY, DISP_E_BADVARTYPE, 0},
                {VT_I4, 7, VT_DISPATCH, kMismatch, 0},
                {VT_I4, 7, VT_NULL, kMismatch, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.value << " of type " << row.from << " to " << row.to);
        VARIANT value = Of(row.from, row.value);
        const VARIANT before = value;
        EXPECT_EQ(VariantChangeType(&value, &value, 0, row.to), row.result);
        EXPECT_EQ(value.vt, row.result == S_OK ? row.to : row.from);
        if (row.result == S_OK) {
            EXPECT_EQ(NumberOf(value), row.expected);
        } else {
            EXPECT_EQ(value.llVal, before.llVal);
        }
    }
}

TEST(Variants, TextsBecomeNumbers) {
    const struct {
        const char16_t* text;
        VARTYPE to;
        HRESULT result;
        double expected;
    } rows[] = {{u" 12 ", VT_I4, S_OK, 12},
                {u"+7", VT_I2, S_OK, 7},
                {u"-2.5", VT_I4, S_OK, -2},
                {u"1e3", VT_R8, S_OK, 1000},
                {u"40000", VT_I2, kOverflow, 0},
                {u"", VT_I4, kMismatch, 0},
                {u"12a", VT_I4, kMismatch, 0},
                {u"+-1", VT_I4, kMismatch, 0},
                {u"inf", VT_R8, kMismatch, 0},
                {u"1,5", VT_R8, kMismatch, 0},
                {u"\u0661", VT_I4, kMismatch, 0},
                {u"TRUE", VT_BOOL, S_OK, -1},
                {u"false", VT_BOOL, S_OK, 0},
                {u"#True#", VT_BOOL, S_OK, -1},
                {u"2", VT_BOOL, S_OK, -1},
                {u"yes", VT_BOOL, kMismatch, 0},
                {u"true", VT_I4, kMismatch, 0},
                {u"1899-12-30", VT_DATE, S_OK, 0},
                {u"1900-01-01", VT_DATE, S_OK, 2},
                {u"2000-02-29 18:00", VT_DATE, S_OK, 36585.75},
                {u"1899-12-29 06:00:00", VT_DATE, S_OK, -1.25},
                {u"1900-02-29", VT_DATE, kMismatch, 0},
                {u"2000-01-01 24:00", VT_DATE, kMismatch, 0},
                {u"2000-01-01T10:00", VT_DATE, kMismatch, 0},
                {u"0099-01-01", VT_DATE, kMismatch, 0},
                {u"2.5", VT_DATE, S_OK, 2.5}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        const Bstr text(row.text);
        const VARIANT source = OfText(text);
        VARIANT value = Of(VT_EMPTY);
        EXPECT_EQ(VariantChangeType(&value, &source, 0, row.to), row.result);
        if (row.result == S_OK) {
            EXPECT_DOUBLE_EQ(NumberOf(value), row.expected);
        }
    }
}

TEST(Variants, ValuesBecomeTexts) {
    const struct {
        VARTYPE from;
        double value;
        USHORT flags;
        std::u16string expected;
    } rows[] = {{VT_I4, -12, 0, u"-12"},
                {VT_R8, 0.1, 0, u"0.1"},
                {VT_R4, 0.1, 0, u"0.1"},
                {VT_R8, 1e20, 0, u"1E+20"},
                {VT_BOOL, -1, 0, u"-1"},
                {VT_BOOL, -1, 2, u"True"},
                {VT_BOOL, 0, 2, u"False"},
                {VT_EMPTY, 0, 0, u""},
                {VT_DATE, 0, 0, u"1899-12-30"},
                {VT_DATE, -1.25, 0, u"1899-12-29 06:00:00"},
                {VT_DATE, 36585.9999999, 0, u"2000-03-01"}};
    for (const auto& row : rows) {
        VARIANT value = Of(row.from, row.value);
        ASSERT_EQ(VariantChangeType(&value, &value, row.flags, VT_BSTR), S_OK);
        EXPECT_EQ(TextOf(value), row.expected);
        VariantClear(&value);
    }
    const Bstr text(std::u16string_view(u"a\0\xD800", 3));
    const VARIANT source = OfText(text);
    VARIANT copy = Of(VT_EMPTY);
    ASSERT_EQ(VariantChangeType(&copy, &source, 0, VT_BSTR), S_OK);
    EXPECT_EQ(TextOf(copy), text.Text());
    VariantClear(&copy);
}

TEST(Variants, ReferencesConvertLikeTheirValues) {
    const Bstr text(u"17");
    BSTR pointer = text;
    VARIANT inner = Of(VT_BYREF | VT_BSTR);
    inner.pbstrVal = &pointer;
    VARIANT outer = Of(VT_BYREF | VT_VARIANT);
    outer.pvarVal = &inner;
    VARIANT value = Of(VT_EMPTY);
    ASSERT_EQ(VariantChangeTypeEx(&value, &outer, LOCALE_USER_DEFAULT, 0, VT_I4), S_OK);
    EXPECT_EQ(value.lVal, 17);
}

TEST(Variants, ObjectsConvertByQuery) {
    CountedObject object;
    VARIANT value = Of(VT_UNKNOWN);
    value.punkVal = &object;
    object.AddRef();
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_DISPATCH), S_OK);
    EXPECT_EQ(value.pdispVal, &object);
    EXPECT_EQ(object.references, 2u);
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_UNKNOWN), S_OK);
    object.answersTo = IID_IUnknown;
    EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_DISPATCH), kMismatch);
    EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_I4), kMismatch);
    VariantClear(&value);
    EXPECT_EQ(object.references, 1u);
}

TEST(Variants, CountTheObjectsThatTheyHold) {
    CountedObject object;
    for (const VARTYPE type : {VT_UNKNOWN, VT_DISPATCH}) {
        VARIANT value = Of(type);
        value.pdispVal = &object;
        VARIANT copy = Of(VT_EMPTY);
        ASSERT_EQ(VariantCopy(&copy, &value), S_OK);
        EXPECT_EQ(object.references, 2u);
        EXPECT_EQ(VariantClear(&copy), S_OK);
        EXPECT_EQ(object.references, 1u);
        EXPECT_EQ(copy.vt, VT_EMPTY);
    }
    IDispatch* pointer = &object;
    VARIANT reference = Of(VT_BYREF | VT_DISPATCH);
    reference.ppdispVal = &pointer;
    EXPECT_EQ(VariantClear(&reference), S_OK);
    EXPECT_EQ(object.references, 1u);
}

TEST(Variants, CopyHasAStringOfItsOwn) {
    VARIANT source = Of(VT_BSTR);
    source.bstrVal = SysAllocStringLen(u"a\0b", 3);
    VARIANT copy = Of(VT_BSTR);
    copy.bstrVal = SysAllocString(u"old");
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_NE(copy.bstrVal, source.bstrVal);
    VariantClear(&source);
    EXPECT_EQ(TextOf(copy), std::u16string(u"a\0b", 3));
    ASSERT_EQ(VariantCopy(&copy, &copy), S_OK);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 3u);
    VariantClear(&copy);
}

TEST(Variants, CopyFollowsReferences) {
    LONG number = 42;
    VARIANT reference = Of(VT_BYREF | VT_I4);
    reference.plVal = &number;
    VARIANT outer = Of(VT_BYREF | VT_VARIANT);
    outer.pvarVal = &reference;
    for (const VARIANT* source : {&reference, &outer}) {
        VARIANT copy = Of(VT_EMPTY);
        ASSERT_EQ(VariantCopyInd(&copy, source), S_OK);
        EXPECT_EQ(copy.vt, VT_I4);
        EXPECT_EQ(copy.lVal, 42);
    }
    VARIANT twice = Of(VT_BYREF | VT_VARIANT);
    twice.pvarVal = &outer;
    VARIANT copy = Of(VT_EMPTY);
    EXPECT_EQ(VariantCopyInd(&copy, &twice), E_INVALIDARG);
}

TEST(Variants, ReferencesToNothingAreRefused) {
    VARIANT copy = Of(VT_EMPTY);
    for (const VARTYPE type : {VT_I4, VT_BSTR, VT_VARIANT}) {
        const VARIANT reference = Of(VT_BYREF | type);
        EXPECT_EQ(VariantCopyInd(&copy, &reference), E_INVALIDARG) << type;
    }
}

TEST(Variants, TypesThatAreNotSupportedAreLeftAlone) {
    for (const int type :
         {int{VT_CY}, int{VT_DECIMAL}, int{VT_RECORD}, VT_ARRAY | VT_I4, int{VT_BYREF}, 99}) {
        VARIANT value = Of(type);
        value.llVal = 7;
        VARIANT copy = Of(VT_EMPTY);
        EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE) << type;
        EXPECT_EQ(value.llVal, 7) << type;
        EXPECT_EQ(VariantCopy(&copy, &value), DISP_E_BADVARTYPE) << type;
        EXPECT_EQ(VariantCopyInd(&copy, &value), DISP_E_BADVARTYPE) << type;
    }
}

}  // namespace
