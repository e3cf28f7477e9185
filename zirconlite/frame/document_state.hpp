/// @file
/// What the rest of the library asks of the document's room besides its record.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

/// Every long-running thread calls this first: puts the stored exception handler in force; nothing without.
void install_stored_exception_handler();

/// The document that the host has open; without one, the view's own. Null for neither.
document* document_of(const render_view& view);

} // namespace zr
