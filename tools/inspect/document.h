#pragma once

#include "inspect/console.h"

#include <core/core.h>

#include <memory>
#include <optional>
#include <string>

namespace inspect {

enum class Subject { Parameter, SpeedCurve, OtherJson };

/// A file, and the place in it where the document stands.
struct Place {
    std::string file;     // "-" for standard input
    std::string pointer;  // a JSON Pointer (RFC 6901); empty for the whole file

    /// How messages call it: "project.json#/clips/0/speed".
    std::string Name() const;
    /// The same without folders.
    std::string ShortName() const;
};

/// What an argument names: a file, or FILE#POINTER. A file that has the whole argument
/// for its name comes first, then the shortest name of a file.
Place PlaceOf(const std::string& argument);

/// A document as the verbs see it: JSON text or packed data, and what it describes.
class Document {
public:
    /// Reads what a `Place` names. A text that stands there and holds an object is read
    /// in turn: some projects store their curves as texts. Throws `Failure`: for JSON
    /// that does not parse with line and column, for packed data with the item's number,
    /// for a place that is none with what there is.
    Document(const std::string& argument, const Console& console);

    /// How messages call it.
    const std::string& Name() const { return name; }
    bool IsPacked() const { return isPacked; }
    /// What packed data holds that the library's form does not.
    const core::MessagePackReport& Packed() const { return packed; }
    /// Whether the file is a table of keyframes (.kf), which has the curve as JSON here.
    bool IsTable() const { return isTable; }
    /// Whether `Text` is this program's own, and not that of a file.
    bool HasOwnText() const { return isPacked || isTable || isPart; }
    /// The frame rate that a table names.
    const std::optional<double>& Rate() const { return rate; }
    Subject What() const { return subject; }
    /// The JSON text, without a mark at its start; that of a packed document, a table or a
    /// part of a file is this program's own.
    const std::string& Text() const { return text; }
    const core::JsonValue& Root() const { return tree.Root(); }

    /// The parameter, or the speed curve as one, that the document describes. Throws
    /// `Failure` when it describes neither, or the library does not take it.
    std::unique_ptr<core::Parameter> Curve() const;
    /// The curve as a plain parameter, with the keyframes as they are stored: where
    /// older speed curves stop, loading them as such makes freezes of keyframes.
    core::Parameter StoredCurve() const;

private:
    void ReadTable();
    void ReadJson();
    void ReadPacked();
    void Enter();
    void Load(core::Parameter& curve) const;

    const Console& console;
    std::string name;
    std::string pointer;
    std::string text;  // JSON without a byte order mark, also for packed data
    core::JsonTree tree;
    core::MessagePackReport packed;
    bool isPacked = false;
    bool isTable = false;
    bool isPart = false;  // the value at `pointer`
    bool isHeld = false;  // the text that stands there
    std::optional<double> rate;
    Subject subject = Subject::OtherJson;
};

}  // namespace inspect
