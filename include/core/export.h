#pragma once

/// @def CORE_API
/// Marks what the shared library exports; everything else is hidden.
///
/// CORE_BUILDING is defined while the library itself is compiled, CORE_STATIC by
/// programs that link its object files instead of the library.
#if defined(CORE_STATIC)
#define CORE_API
#elif defined(_WIN32)
#if defined(CORE_BUILDING)
#define CORE_API __declspec(dllexport)
#else
#define CORE_API __declspec(dllimport)
#endif
#else
#define CORE_API __attribute__((visibility("default")))
#endif

/// @def CORE_LOCAL
/// Marks a member template of an exported class that each module keeps to itself: its
/// instances are made of the caller's types, and where two modules have each their own
/// type of one name, the loader would take the one module's for the other's as well.
#if defined(_WIN32)
#define CORE_LOCAL
#else
#define CORE_LOCAL __attribute__((visibility("hidden")))
#endif

// CORE_LAYS_OVERLOADS_TOGETHER is defined for Visual C++, which lays the overloads of a
// virtual function side by side, where the first of them is declared, the last one first.
// Others keep the order of declaration, by which modules call each other here: where a
// class has overloads, what Visual C++ sees is declared so that its slots are the same.

/// @def CORE_SLOT_NAME
/// The name of a virtual function whose slot is not beside its overload's: its own, but
/// for Visual C++, where an overload that is not virtual calls it.
///
/// @def CORE_HIDES_STD_BEGIN
/// Around classes with members or bases of the standard library, which are not exported
/// (C4251, C4275): they are hidden from callers, and module and caller need the same
/// standard library anyway. Also around those that are padded on purpose (C4324).
///
/// @def CORE_HIDES_STD_END
/// Ends what `CORE_HIDES_STD_BEGIN` began.
#if defined(_MSC_VER)
#define CORE_LAYS_OVERLOADS_TOGETHER
#define CORE_SLOT_NAME(function) function##Slot
#define CORE_HIDES_STD_BEGIN __pragma(warning(push)) __pragma(warning(disable : 4251 4275 4324))
#define CORE_HIDES_STD_END __pragma(warning(pop))
#else
#define CORE_SLOT_NAME(function) function
#define CORE_HIDES_STD_BEGIN
#define CORE_HIDES_STD_END
#endif
