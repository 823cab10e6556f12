#include "tests/comrt/counted_object.h"
#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

using tsasync::host::Bstr;
using tsasync::test::CountedObject;

// A number in any type, by way of the widest one that has it exactly.
VARIANT Number(VARTYPE type, double number) {
    VARIANT value;
    VariantInit(&value);
    switch (type) {
        case VT_R4:
            value.fltVal = static_cast<float>(number);
            break;
        case VT_R8:
        case VT_DATE:
            value.dblVal = number;
            break;
        default:
            value.llVal = static_cast<LONGLONG>(number);
    }
    value.vt = type;
    return value;
}

struct NumberCase {
    VARTYPE from;
    double value;
    VARTYPE to;
    HRESULT result;
    double expected;
};

double AsDouble(const VARIANT& value) {
    switch (value.vt) {
        case VT_I1:
            return static_cast<signed char>(value.cVal);
        case VT_UI1:
            return value.bVal;
        case VT_I2:
        case VT_BOOL:
            return value.iVal;
        case VT_UI2:
            return value.uiVal;
        case VT_I4:
        case VT_INT:
            return value.lVal;
        case VT_UI4:
        case VT_UINT:
            return value.ulVal;
        case VT_I8:
            return static_cast<double>(value.llVal);
        case VT_UI8:
            return static_cast<double>(value.ullVal);
        case VT_R4:
            return value.fltVal;
        default:
            return value.dblVal;
    }
}

class Numbers : public testing::TestWithParam<NumberCase> {};

TEST_P(Numbers, Convert) {
    const NumberCase& each = GetParam();
    VARIANT value = Number(each.from, each.value);
    const VARIANT before = value;
    ASSERT_EQ(VariantChangeType(&value, &value, 0, each.to), each.result);
    if (FAILED(each.result)) {
        EXPECT_EQ(value.vt, each.from);
        EXPECT_EQ(value.llVal, before.llVal);
    } else {
        EXPECT_EQ(value.vt, each.to);
        EXPECT_EQ(AsDouble(value), each.expected);
    }
}

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Variants, Numbers,
    testing::Values(
        // Halves go to the even neighbour.
        NumberCase{VT_R8, 0.5, VT_I4, S_OK, 0}, NumberCase{VT_R8, 1.5, VT_I4, S_OK, 2},
        NumberCase{VT_R8, 2.5, VT_I2, S_OK, 2}, NumberCase{VT_R8, -1.5, VT_I2, S_OK, -2},
        NumberCase{VT_R4, -0.5, VT_I4, S_OK, 0},
        // The borders of each type.
        NumberCase{VT_I4, 32767, VT_I2, S_OK, 32767}, NumberCase{VT_I4, 32768, VT_I2, DISP_E_OVERFLOW, 0},
        NumberCase{VT_I4, -32769, VT_I2, DISP_E_OVERFLOW, 0},
        NumberCase{VT_I2, -1, VT_UI1, DISP_E_OVERFLOW, 0}, NumberCase{VT_I2, 255, VT_UI1, S_OK, 255},
        NumberCase{VT_I2, 128, VT_I1, DISP_E_OVERFLOW, 0}, NumberCase{VT_I2, -128, VT_I1, S_OK, -128},
        NumberCase{VT_R8, 2147483647.4, VT_I4, S_OK, 2147483647},
        NumberCase{VT_R8, 2147483647.5, VT_I4, DISP_E_OVERFLOW, 0},
        NumberCase{VT_R8, 4294967295.0, VT_UI4, S_OK, 4294967295.0},
        NumberCase{VT_I8, -1, VT_UI8, DISP_E_OVERFLOW, 0}, NumberCase{VT_R8, 1e19, VT_I8, DISP_E_OVERFLOW, 0},
        NumberCase{VT_R8, kNan, VT_I4, DISP_E_OVERFLOW, 0},
        NumberCase{VT_R8, 1e39, VT_R4, DISP_E_OVERFLOW, 0},
        NumberCase{VT_UI4, 4294967295.0, VT_I4, DISP_E_OVERFLOW, 0},
        // Booleans are -1 and 0; any number but zero is true.
        NumberCase{VT_I4, 1, VT_BOOL, S_OK, -1}, NumberCase{VT_R8, 0.25, VT_BOOL, S_OK, -1},
        NumberCase{VT_I4, 0, VT_BOOL, S_OK, 0}, NumberCase{VT_BOOL, -1, VT_I4, S_OK, -1},
        NumberCase{VT_BOOL, -1, VT_R8, S_OK, -1},
        // Nothing is zero.
        NumberCase{VT_EMPTY, 0, VT_I2, S_OK, 0}, NumberCase{VT_EMPTY, 0, VT_DATE, S_OK, 0},
        NumberCase{VT_NULL, 0, VT_I2, DISP_E_TYPEMISMATCH, 0},
        NumberCase{VT_ERROR, 5, VT_I4, DISP_E_TYPEMISMATCH, 0},
        // Dates are numbers within the calendar.
        NumberCase{VT_R8, 45000.5, VT_DATE, S_OK, 45000.5}, NumberCase{VT_DATE, 45000.5, VT_I4, S_OK, 45000},
        NumberCase{VT_R8, 2958466, VT_DATE, DISP_E_OVERFLOW, 0},
        NumberCase{VT_R8, -657435, VT_DATE, DISP_E_OVERFLOW, 0},
        NumberCase{VT_I4, 7, VT_CY, DISP_E_BADVARTYPE, 0},
        NumberCase{VT_I4, 7, VT_DISPATCH, DISP_E_TYPEMISMATCH, 0},
        NumberCase{VT_I4, 7, VT_NULL, DISP_E_TYPEMISMATCH, 0}));

struct TextCase {
    const char16_t* text;
    VARTYPE to;
    HRESULT result;
    double expected;
};

class Texts : public testing::TestWithParam<TextCase> {};

TEST_P(Texts, BecomeNumbers) {
    const TextCase& each = GetParam();
    const Bstr text(each.text);
    VARIANT source = Number(VT_EMPTY, 0);
    source.vt = VT_BSTR;
    source.bstrVal = text;
    VARIANT value = Number(VT_EMPTY, 0);
    ASSERT_EQ(VariantChangeType(&value, &source, 0, each.to), each.result);
    if (SUCCEEDED(each.result)) {
        EXPECT_DOUBLE_EQ(AsDouble(value), each.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Variants, Texts,
    testing::Values(
        TextCase{u" 12 ", VT_I4, S_OK, 12}, TextCase{u"+7", VT_I2, S_OK, 7},
        TextCase{u"-2.5", VT_I4, S_OK, -2}, TextCase{u"1e3", VT_R8, S_OK, 1000},
        TextCase{u"40000", VT_I2, DISP_E_OVERFLOW, 0}, TextCase{u"", VT_I4, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"12a", VT_I4, DISP_E_TYPEMISMATCH, 0}, TextCase{u"+-1", VT_I4, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"inf", VT_R8, DISP_E_TYPEMISMATCH, 0}, TextCase{u"1,5", VT_R8, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"\u0661", VT_I4, DISP_E_TYPEMISMATCH, 0}, TextCase{u"TRUE", VT_BOOL, S_OK, -1},
        TextCase{u"false", VT_BOOL, S_OK, 0}, TextCase{u"#True#", VT_BOOL, S_OK, -1},
        TextCase{u"2", VT_BOOL, S_OK, -1}, TextCase{u"yes", VT_BOOL, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"true", VT_I4, DISP_E_TYPEMISMATCH, 0}, TextCase{u"1899-12-30", VT_DATE, S_OK, 0},
        TextCase{u"1900-01-01", VT_DATE, S_OK, 2}, TextCase{u"2000-02-29 18:00", VT_DATE, S_OK, 36585.75},
        TextCase{u"1899-12-29 06:00:00", VT_DATE, S_OK, -1.25},
        TextCase{u"1900-02-29", VT_DATE, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"2000-01-01 24:00", VT_DATE, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"2000-01-01T10:00", VT_DATE, DISP_E_TYPEMISMATCH, 0},
        TextCase{u"0099-01-01", VT_DATE, DISP_E_TYPEMISMATCH, 0}, TextCase{u"2.5", VT_DATE, S_OK, 2.5}));

struct WordingCase {
    VARTYPE from;
    double value;
    USHORT flags;
    const char16_t* expected;
};

class Wordings : public testing::TestWithParam<WordingCase> {};

TEST_P(Wordings, OfValues) {
    const WordingCase& each = GetParam();
    VARIANT value = Number(each.from, each.value);
    ASSERT_EQ(VariantChangeType(&value, &value, each.flags, VT_BSTR), S_OK);
    EXPECT_EQ(std::u16string(value.bstrVal, SysStringLen(value.bstrVal)), each.expected);
    VariantClear(&value);
}

INSTANTIATE_TEST_SUITE_P(
    Variants, Wordings,
    testing::Values(WordingCase{VT_I4, -12, 0, u"-12"}, WordingCase{VT_R8, 0.1, 0, u"0.1"},
                    WordingCase{VT_R4, 0.1, 0, u"0.1"}, WordingCase{VT_R8, 1e20, 0, u"1E+20"},
                    WordingCase{VT_BOOL, -1, 0, u"-1"}, WordingCase{VT_BOOL, -1, 2, u"True"},
                    WordingCase{VT_BOOL, 0, 2, u"False"}, WordingCase{VT_EMPTY, 0, 0, u""},
                    WordingCase{VT_DATE, 0, 0, u"1899-12-30"},
                    WordingCase{VT_DATE, -1.25, 0, u"1899-12-29 06:00:00"},
                    WordingCase{VT_DATE, 36585.9999999, 0, u"2000-03-01"}));

TEST(Variants, TextKeepsItsUnitsOnTheWayToItself) {
    const Bstr text(std::u16string_view(u"a\0\xD800", 3));
    VARIANT source = Number(VT_EMPTY, 0);
    source.vt = VT_BSTR;
    source.bstrVal = text;
    VARIANT copy = Number(VT_EMPTY, 0);
    ASSERT_EQ(VariantChangeType(&copy, &source, 0, VT_BSTR), S_OK);
    EXPECT_EQ(std::u16string(copy.bstrVal, SysStringLen(copy.bstrVal)), text.Text());
    VariantClear(&copy);
}

TEST(Variants, ReferencesConvertLikeTheirValues) {
    const Bstr text(u"17");
    BSTR pointer = text;
    VARIANT inner = Number(VT_EMPTY, 0);
    inner.vt = VT_BYREF | VT_BSTR;
    inner.pbstrVal = &pointer;
    VARIANT outer = Number(VT_EMPTY, 0);
    outer.vt = VT_BYREF | VT_VARIANT;
    outer.pvarVal = &inner;
    VARIANT value = Number(VT_EMPTY, 0);
    ASSERT_EQ(VariantChangeTypeEx(&value, &outer, LOCALE_USER_DEFAULT, 0, VT_I4), S_OK);
    EXPECT_EQ(value.lVal, 17);
}

TEST(Variants, ObjectsConvertByQuery) {
    CountedObject object;
    VARIANT value = Number(VT_EMPTY, 0);
    value.vt = VT_UNKNOWN;
    value.punkVal = &object;
    object.AddRef();
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_DISPATCH), S_OK);
    EXPECT_EQ(value.pdispVal, &object);
    EXPECT_EQ(object.references, 2u);
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_UNKNOWN), S_OK);
    object.hasDispatch = false;
    EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_DISPATCH), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_I4), DISP_E_TYPEMISMATCH);
    VariantClear(&value);
    EXPECT_EQ(object.references, 1u);
}

}  // namespace
