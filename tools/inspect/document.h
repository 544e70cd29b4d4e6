#pragma once

#include "inspect/console.h"

#include <core/core.h>

#include <memory>
#include <optional>
#include <string>

namespace inspect {

enum class Subject { Parameter, SpeedCurve, OtherJson };

/// A file as the verbs see it: JSON text or packed data, and what it describes.
class Document {
public:
    /// Reads a file, or standard input for "-". Throws `Failure`: for JSON that does
    /// not parse with line and column, for packed data with the item's number.
    Document(const std::string& file, const Console& console);

    /// How messages call the file.
    const std::string& Name() const { return name; }
    bool IsPacked() const { return isPacked; }
    /// What packed data holds that the library's form does not.
    const core::MessagePackReport& Packed() const { return packed; }
    /// Whether the file is a table of keyframes (.kf), which has the curve as JSON here.
    bool IsTable() const { return isTable; }
    /// The frame rate that a table names.
    const std::optional<double>& Rate() const { return rate; }
    Subject What() const { return subject; }
    /// The JSON text, without a mark at its start; that of a packed document or a table is
    /// this program's own.
    const std::string& Text() const { return text; }
    const core::JsonValue& Root() const { return document.Root(); }

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
    void Load(core::Parameter& curve) const;

    const Console& console;
    std::string name;
    std::string text;  // JSON without a byte order mark, also for packed data
    core::JsonDoc document;
    core::MessagePackReport packed;
    bool isPacked = false;
    bool isTable = false;
    std::optional<double> rate;
    Subject subject = Subject::OtherJson;
};

}  // namespace inspect
