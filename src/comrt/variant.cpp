// The life of a variant: making, copying, clearing.
#include "comrt/variant.h"

#include <cstring>

namespace tsasync::comrt {

std::size_t ValueSize(VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_DATE:
            return 8;
        case VT_BSTR:
        case VT_DISPATCH:
        case VT_UNKNOWN:
            return sizeof(void*);
        default:
            return 0;
    }
}

}  // namespace tsasync::comrt

namespace {

using tsasync::comrt::ValueSize;

bool IsPlain(VARTYPE type) { return type == VT_EMPTY || type == VT_NULL || ValueSize(type) != 0; }

bool IsSupported(VARTYPE type) {
    if ((type & VT_BYREF) == 0) return IsPlain(type);
    const VARTYPE target = type & static_cast<VARTYPE>(~VT_BYREF);
    return target == VT_VARIANT || ValueSize(target) != 0;
}

// Gives a bitwise copy its own string or reference.
HRESULT Own(VARIANT& value) {
    if (value.vt == VT_BSTR && value.bstrVal != nullptr) {
        value.bstrVal = SysAllocStringByteLen(reinterpret_cast<const char*>(value.bstrVal),
                                              SysStringByteLen(value.bstrVal));
        return value.bstrVal != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    if ((value.vt == VT_DISPATCH || value.vt == VT_UNKNOWN) && value.punkVal != nullptr)
        value.punkVal->AddRef();
    return S_OK;
}

// The value that a reference other than to a variant points at, as a bitwise copy.
HRESULT Dereference(const VARIANT& reference, VARIANT& value) {
    if (reference.byref == nullptr) return E_INVALIDARG;
    VariantInit(&value);
    value.vt = reference.vt & static_cast<VARTYPE>(~VT_BYREF);
    std::memcpy(&value.llVal, reference.byref, ValueSize(value.vt));
    return S_OK;
}

}  // namespace

void VariantInit(VARIANTARG* variant) { *variant = VARIANT{}; }

HRESULT VariantClear(VARIANTARG* variant) {
    if (!IsSupported(variant->vt)) return DISP_E_BADVARTYPE;
    const VARIANT old = *variant;
    VariantInit(variant);
    if (old.vt == VT_BSTR) SysFreeString(old.bstrVal);
    if ((old.vt == VT_DISPATCH || old.vt == VT_UNKNOWN) && old.punkVal != nullptr) old.punkVal->Release();
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* destination, const VARIANTARG* source) {
    if (destination == source) return S_OK;
    if (!IsSupported(source->vt)) return DISP_E_BADVARTYPE;
    VARIANT copy = *source;
    HRESULT result = Own(copy);
    if (FAILED(result)) return result;
    result = VariantClear(destination);
    if (FAILED(result)) {
        VariantClear(&copy);
        return result;
    }
    *destination = copy;
    return S_OK;
}

HRESULT VariantCopyInd(VARIANT* destination, const VARIANTARG* source) {
    if (source->vt == (VT_BYREF | VT_VARIANT)) {
        source = source->pvarVal;
        if (source == nullptr || source->vt == (VT_BYREF | VT_VARIANT)) return E_INVALIDARG;
    }
    if (!IsSupported(source->vt)) return DISP_E_BADVARTYPE;
    if ((source->vt & VT_BYREF) == 0) return VariantCopy(destination, source);
    VARIANT value;
    const HRESULT result = Dereference(*source, value);
    return FAILED(result) ? result : VariantCopy(destination, &value);
}
