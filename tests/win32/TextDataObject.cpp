#include "TextDataObject.h"

#include <cstring>
#include <shlobj.h>

namespace {
FORMATETC textFormat()
{
    return {CF_UNICODETEXT, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
}
} // namespace

HRESULT TextDataObject::QueryInterface(REFIID iid, void** object)
{
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDataObject)) {
        *object = static_cast<IDataObject*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG TextDataObject::Release()
{
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

HRESULT TextDataObject::QueryGetData(FORMATETC* format)
{
    return format->cfFormat == CF_UNICODETEXT && (format->tymed & TYMED_HGLOBAL) ? S_OK
                                                                                 : DV_E_FORMATETC;
}

HRESULT TextDataObject::GetData(FORMATETC* format, STGMEDIUM* medium)
{
    if (QueryGetData(format) != S_OK)
        return DV_E_FORMATETC;
    const size_t bytes = (m_text.size() + 1) * sizeof(wchar_t);
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
    if (!memory)
        return E_OUTOFMEMORY;
    std::memcpy(GlobalLock(memory), m_text.c_str(), bytes);
    GlobalUnlock(memory);
    medium->tymed = TYMED_HGLOBAL;
    medium->hGlobal = memory;
    medium->pUnkForRelease = nullptr;
    if (onRender)
        onRender();
    return S_OK;
}

HRESULT TextDataObject::EnumFormatEtc(DWORD direction, IEnumFORMATETC** formats)
{
    if (direction != DATADIR_GET)
        return E_NOTIMPL;
    FORMATETC format = textFormat();
    return SHCreateStdEnumFmtEtc(1, &format, formats);
}
