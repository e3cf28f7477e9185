/// @file
/// The display's locks and the table that it fills.
#include "zirconlite/display/hooks.hpp"

namespace zr
{

namespace
{

platform::lock* made_display_lock = nullptr;
platform::lock* made_image_lock = nullptr;
display_functions installed = {};

platform::lock* made_once(platform::lock** place);
template <class Function> Function entry(Function& place);

} // namespace

platform::lock* display_lock() { return made_once(&made_display_lock); }

platform::lock* image_lock() { return made_once(&made_image_lock); }

void set_display_functions(const display_functions* functions)
{
    const display_functions next = functions ? *functions : display_functions{};
    platform::store_word(&installed.show_image, next.show_image);
    platform::store_word(&installed.send_message, next.send_message);
    platform::store_word(&installed.change_document, next.change_document);
}

int32_t show_image_on_display(render_view* view, int32_t wait_flag)
{
    const auto show = entry(installed.show_image);
    return show ? show(view, wait_flag) : 0;
}

int32_t send_display_message(uint32_t message, uintptr_t argument, uint32_t flags)
{
    const auto send = entry(installed.send_message);
    return send ? send(message, argument, flags) : 0;
}

int32_t change_display_document(document* doc)
{
    const auto change = entry(installed.change_document);
    return change ? change(doc) : 0;
}

namespace
{

/// Two threads may come first at once: one lock stays, the other goes.
platform::lock* made_once(platform::lock** place)
{
    platform::lock* present = platform::load_word(place);
    if (present) { return present; }
    platform::lock* made = platform::new_lock();
    if (platform::replace_word(place, present, made)) { return made; }
    platform::free_lock(made);
    return present;
}

template <class Function> Function entry(Function& place) { return platform::load_word(&place); }

} // namespace

} // namespace zr
