#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/CFURL.h"

#include <memory>
#include <optional>
#include <string>

/// @addtogroup foundation
/// @{

/// A URL. Immutable, so any thread may read it.
class BRAQ_EXPORT NSURL {
  public:
    /// A file URL for a UTF-8 path, absolute or relative to the current working directory. The path is not normalised.
    /// A path with a null character names no file, so the result is not a file URL.
    static std::shared_ptr<NSURL> fileURLWithPath(const std::string& path);
    /// A URL from percent-encoded text with a scheme.
    /// @return null for text that is not a URL: without a scheme, or with a percent sign that is not followed by two
    ///        hexadecimal digits
    static std::shared_ptr<NSURL> urlWithString(const std::string& text);

    /// Whether it names a local file: scheme "file" and no host, or "localhost".
    bool isFileURL() const noexcept { return mPath.has_value(); }
    /// The decoded path of a file URL; empty for any other.
    std::string path() const { return mPath.value_or(std::string()); }
    /// The percent-encoded text.
    const std::string& absoluteString() const noexcept { return mText; }

    /// Whether both have the same text.
    bool isEqual(const NSURL* other) const noexcept { return other != nullptr && other->mText == mText; }

  private:
    NSURL(std::string text, std::optional<std::string> path);

    std::string mText;
    std::optional<std::string> mPath;
};

/// @}
