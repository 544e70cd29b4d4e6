#pragma once

/// The trace: named performance events and running statistics of the process, written
/// as one JSON file on demand. This header is C too.
///
///     InitPrefTraceFile("/tmp/editor-trace.json");
///     AddPrefTrace("decode", "clip", CORE_TRACE_TEXT, "a.mov",
///                  "seconds", CORE_TRACE_DOUBLE, 0.25, NULL);
///     AddStatisticPrefTrace("frame", "ms", 16.6, NULL);
///     FlushPrefTraceFile();
///
/// All functions are safe from any thread and throw nothing: a record that finds no
/// memory is dropped. Texts and paths are UTF-8, end at their zero byte and are
/// copied. What happens is logged under module "ZYL" and tag "analytics".

#include <core/export.h>

#include <stdint.h>

/// What follows a property's name: its type, in 64 bits. An integer written without
/// these names has another size, and what is read then is undefined.
#define CORE_TRACE_TEXT INT64_C(0)   /* const char* */
#define CORE_TRACE_DOUBLE INT64_C(1) /* double */
#define CORE_TRACE_INT64 INT64_C(2)  /* int64_t */
#define CORE_TRACE_INT32 INT64_C(3)  /* int32_t */

/// Lets the compiler look for the null that ends the properties.
#if defined(__GNUC__)
#define CORE_TRACE_ENDS_WITH_NULL __attribute__((sentinel))
#else
#define CORE_TRACE_ENDS_WITH_NULL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// Makes `path` the file to write. It is opened once as a trial, and so created or
/// emptied. Answers 0; or 1, and the path before stays, when it is null or the file
/// can't be opened, which is logged at level 6.
CORE_API int InitPrefTraceFile(const char* path);

/// Records an event and logs it at level 3.
///
/// A property is three arguments: its name, its type and a value of that type. A null
/// name ends them. Any other type drops the event, and says so at level 5. A null text
/// is written as null, like a double that is not finite. A null `name` does nothing.
CORE_API void AddPrefTrace(const char* name, ...) CORE_TRACE_ENDS_WITH_NULL;

/// Adds a sample to the statistic `key` of the event `name`, with properties as above,
/// and logs it at level 3. A null key counts as empty.
///
/// An event has any number of statistics. Of properties with one name it keeps the
/// latest.
CORE_API void AddStatisticPrefTrace(const char* name, const char* key, double value,
                                    ...) CORE_TRACE_ENDS_WITH_NULL;

/// Writes everything recorded so far to the file, replacing what it held, and keeps it:
/// the next flush writes it again.
///
/// The file is {"Events": [...]}: an object with "EventName" and "EventProperties" for
/// each event, in the order of their arrival, then one for each event with statistics,
/// in the order of their names. A statistic "ms" is four properties: "ms_min",
/// "ms_max", "ms_avg" and "ms_cnt". Success is logged at level 4, failure at level 6.
/// The other functions wait meanwhile.
CORE_API void FlushPrefTraceFile(void);

#ifdef __cplusplus
}

#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <type_traits>

namespace core {

/// A property of a traced event: its name and a text or a number. The texts are only
/// pointed to, which is right for an argument of `TraceEvent`.
class TraceProperty {
public:
    /// A text; null is written as null.
    TraceProperty(const char* propertyName, const char* text) noexcept
        : name(propertyName), type(CORE_TRACE_TEXT) {
        value.text = text;
    }
    TraceProperty(const char* propertyName, const std::string& text) noexcept
        : TraceProperty(propertyName, text.c_str()) {}
    /// Any built-in number but 64-bit unsigned ones, for which the trace has no type.
    template <class T, std::enable_if_t<std::is_arithmetic<T>::value, int> = 0>
    TraceProperty(const char* propertyName, T number) noexcept : name(propertyName) {
        if constexpr (std::is_floating_point<T>::value) {
            type = CORE_TRACE_DOUBLE;
            value.real = static_cast<double>(number);
        } else {
            static_assert(sizeof(T) < 8 || std::is_signed<T>::value,
                          "cast it to std::int64_t or to double");
            type = CORE_TRACE_INT64;
            value.integer = static_cast<std::int64_t>(number);
        }
    }

    /// Null where the caller gave null; such a property is left out.
    const char* Name() const noexcept { return name; }
    /// One of CORE_TRACE_...
    std::int64_t Type() const noexcept { return type; }
    /// The value of a property of that type; of any other, undefined.
    const char* Text() const noexcept { return value.text; }
    double Real() const noexcept { return value.real; }
    std::int64_t Integer() const noexcept { return value.integer; }

private:
    const char* name;
    std::int64_t type;
    union {
        const char* text;
        double real;
        std::int64_t integer;
    } value;
};

/// `AddPrefTrace` with properties that the compiler checks.
///
///     TraceEvent("decode", {{"clip", name}, {"seconds", 0.25}, {"frames", 6}});
CORE_API void TraceEvent(const char* name, const TraceProperty* properties,
                         std::size_t count) noexcept;
inline void TraceEvent(const char* name,
                       std::initializer_list<TraceProperty> properties = {}) noexcept {
    TraceEvent(name, properties.begin(), properties.size());
}

/// `AddStatisticPrefTrace` with properties that the compiler checks.
CORE_API void TraceStatistic(const char* name, const char* key, double value,
                             const TraceProperty* properties, std::size_t count) noexcept;
inline void TraceStatistic(const char* name, const char* key, double value,
                           std::initializer_list<TraceProperty> properties = {}) noexcept {
    TraceStatistic(name, key, value, properties.begin(), properties.size());
}

}  // namespace core
#endif
