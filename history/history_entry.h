#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/date.h"
#include "support/record.h"
#include "support/uuid.h"

/// The records of the clipboard history: an entry holds the items that were on the clipboard
/// together, an item the representations in which it was offered. All of them are immutable.
/// docs/history-entry.md shows a complete entry.
namespace sorvane {

struct HelperImageMetadata {
    const std::int64_t pixelWidth;
    const std::int64_t pixelHeight;
    const std::optional<std::string> pixelHash;
    const std::optional<std::int64_t> bitsPerComponent;
    const std::optional<bool> hasAlpha;
    const std::optional<std::string> colorModel;
    const std::optional<std::string> profileName;
    const std::optional<std::int64_t> orientation;
    const std::optional<std::int64_t> frameCount;
    const std::string originalUTI;
    const bool isOriginalFile;
    const bool isBitExact;
    const std::optional<std::string> conversion;

    static constexpr auto fields() {
        return std::tuple{
            record::field("pixelWidth", &HelperImageMetadata::pixelWidth),
            record::field("pixelHeight", &HelperImageMetadata::pixelHeight),
            record::field("pixelHash", &HelperImageMetadata::pixelHash),
            record::field("bitsPerComponent", &HelperImageMetadata::bitsPerComponent),
            record::field("hasAlpha", &HelperImageMetadata::hasAlpha),
            record::field("colorModel", &HelperImageMetadata::colorModel),
            record::field("profileName", &HelperImageMetadata::profileName),
            record::field("orientation", &HelperImageMetadata::orientation),
            record::field("frameCount", &HelperImageMetadata::frameCount),
            record::field("originalUTI", &HelperImageMetadata::originalUTI),
            record::field("isOriginalFile", &HelperImageMetadata::isOriginalFile),
            record::field("isBitExact", &HelperImageMetadata::isBitExact),
            record::field("conversion", &HelperImageMetadata::conversion),
        };
    }

    bool operator==(const HelperImageMetadata&) const = default;
};

struct HelperRepresentation {
    const Uuid id;
    const std::string uti;
    const std::int64_t byteCount;
    const std::optional<std::string> sha256;
    const std::optional<std::string> storagePath;
    const std::optional<std::string> inlineText;
    const bool isOriginalRepresentation;
    const std::optional<HelperImageMetadata> imageMetadata;
    const std::optional<std::string> thumbnailPath;

    static constexpr auto fields() {
        return std::tuple{
            record::field("id", &HelperRepresentation::id),
            record::field("uti", &HelperRepresentation::uti),
            record::field("byteCount", &HelperRepresentation::byteCount),
            record::field("sha256", &HelperRepresentation::sha256),
            record::field("storagePath", &HelperRepresentation::storagePath),
            record::field("inlineText", &HelperRepresentation::inlineText),
            record::field("isOriginalRepresentation",
                          &HelperRepresentation::isOriginalRepresentation),
            record::field("imageMetadata", &HelperRepresentation::imageMetadata),
            record::field("thumbnailPath", &HelperRepresentation::thumbnailPath),
        };
    }

    bool operator==(const HelperRepresentation&) const = default;
};

struct HelperClipboardItem {
    const Uuid id;
    const std::int64_t index; ///< the position within the entry
    const std::vector<HelperRepresentation> representations;

    static constexpr auto fields() {
        return std::tuple{
            record::field("id", &HelperClipboardItem::id),
            record::field("index", &HelperClipboardItem::index),
            record::field("representations", &HelperClipboardItem::representations),
        };
    }

    bool operator==(const HelperClipboardItem&) const = default;
};

struct HelperEntry {
    const Uuid id;
    const Date createdAt;
    const std::string primaryKind;
    const std::vector<HelperClipboardItem> items;

    static constexpr auto fields() {
        return std::tuple{
            record::field("id", &HelperEntry::id),
            record::field("createdAt", &HelperEntry::createdAt),
            record::field("primaryKind", &HelperEntry::primaryKind),
            record::field("items", &HelperEntry::items),
        };
    }

    bool operator==(const HelperEntry&) const = default;
};

} // namespace sorvane
