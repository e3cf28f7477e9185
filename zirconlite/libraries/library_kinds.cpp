#include "zirconlite/libraries/library_kinds.hpp"

#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/text.hpp"

namespace
{

constexpr zr::library_kind kinds[] = {
    { u".mlib", u"MATERIAL", "material", zr::copy_material, zr::copy_material_as },
    { u".llib", u"LIGHTING", "light", zr::copy_light, zr::copy_light_as },
};

} // namespace

namespace zr
{

const library_kind* library_kind_of(const char16_t* path)
{
    const char16_t* extension = extension_of(path);
    for (const library_kind& kind : kinds)
    {
        if (platform::compare_no_case(extension, kind.extension) == 0) { return &kind; }
    }
    report_failure(ZR_ERROR_FORMAT, "the records of such a file are not known; material libraries end in "
                                    ".mlib, light libraries in .llib");
    return nullptr;
}

const char16_t* extension_of(const char16_t* path)
{
    const char16_t* at = path;
    while (*at) { ++at; }
    const char16_t* end = at;
    while (at > path && *at != u'.' && at[-1] != u'/' && at[-1] != u'\\') { --at; }
    return *at == u'.' ? at : end;
}

} // namespace zr
