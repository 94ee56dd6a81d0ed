// Attribute that lets Clang warn of references and views that outlive the object they come from.
#pragma once

/// Goes after the parameters of a member function whose result refers to the object itself, or after the name of a
/// parameter that the result refers to: Clang then warns where that object is a temporary and the reference is kept.
/// Empty for other compilers.
#if defined(__clang__)
#define TORVANE_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define TORVANE_LIFETIMEBOUND
#endif
