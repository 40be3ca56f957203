// export.h - the one export macro of libtavrin_utils.
//
// The library is built with hidden visibility; every public class and free
// function is marked with TAVRIN_EXPORT so that exactly the documented
// interface appears in the dynamic symbol table.
#pragma once

#if defined(_WIN32)
#define TAVRIN_EXPORT
#else
#define TAVRIN_EXPORT __attribute__((visibility("default")))
#endif
