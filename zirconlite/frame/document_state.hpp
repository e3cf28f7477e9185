/// @file
/// What threads of the library ask of the document's room besides its record.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

/// Every long-running thread calls this first: puts the stored exception handler in force; nothing without.
void install_stored_exception_handler();

} // namespace zr
