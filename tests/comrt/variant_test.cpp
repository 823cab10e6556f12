#include "tests/comrt/counted_object.h"
#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using tsasync::host::Bstr;
using tsasync::test::CountedObject;

VARIANT Of(VARTYPE type) {
    VARIANT value;
    VariantInit(&value);
    value.vt = type;
    return value;
}

TEST(Variants, ClearReleasesWhatTheyHold) {
    CountedObject object;
    for (const VARTYPE type : {VT_UNKNOWN, VT_DISPATCH}) {
        VARIANT value = Of(type);
        value.pdispVal = &object;
        object.AddRef();
        EXPECT_EQ(VariantClear(&value), S_OK);
        EXPECT_EQ(object.references, 1u);
        EXPECT_EQ(value.vt, VT_EMPTY);
    }
}

TEST(Variants, ClearLeavesWhatTheyReferTo) {
    CountedObject object;
    IDispatch* pointer = &object;
    VARIANT value = Of(VT_BYREF | VT_DISPATCH);
    value.ppdispVal = &pointer;
    EXPECT_EQ(VariantClear(&value), S_OK);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(pointer, &object);
}

TEST(Variants, CopyHasAStringOfItsOwn) {
    VARIANT source = Of(VT_BSTR);
    source.bstrVal = SysAllocStringLen(u"a\0b", 3);
    VARIANT copy = Of(VT_BSTR);
    copy.bstrVal = SysAllocString(u"old");
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_NE(copy.bstrVal, source.bstrVal);
    VariantClear(&source);
    EXPECT_EQ(std::u16string(copy.bstrVal, SysStringLen(copy.bstrVal)), std::u16string(u"a\0b", 3));
    ASSERT_EQ(VariantCopy(&copy, &copy), S_OK);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 3u);
    VariantClear(&copy);
}

TEST(Variants, CopyCountsItsObject) {
    CountedObject object;
    VARIANT source = Of(VT_DISPATCH);
    source.pdispVal = &object;
    VARIANT copy = Of(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&copy);
    EXPECT_EQ(object.references, 1u);
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
        const VARIANT reference = Of(static_cast<VARTYPE>(VT_BYREF | type));
        EXPECT_EQ(VariantCopyInd(&copy, &reference), E_INVALIDARG) << type;
    }
}

TEST(Variants, TypesThatAreNotSupportedAreLeftAlone) {
    for (const int type :
         {int{VT_CY}, int{VT_DECIMAL}, int{VT_RECORD}, VT_ARRAY | VT_I4, int{VT_BYREF}, 99}) {
        VARIANT value = Of(static_cast<VARTYPE>(type));
        value.llVal = 7;
        VARIANT copy = Of(VT_EMPTY);
        EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE) << type;
        EXPECT_EQ(value.llVal, 7) << type;
        EXPECT_EQ(VariantCopy(&copy, &value), DISP_E_BADVARTYPE) << type;
        EXPECT_EQ(VariantCopyInd(&copy, &value), DISP_E_BADVARTYPE) << type;
    }
}

}  // namespace
