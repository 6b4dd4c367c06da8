#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>
#include <optional>
#include <string>

/// Where a resource is. Immutable, so any thread may read it.
class BRAQ_EXPORT NSURL {
  public:
    /// A file URL for a path, absolute or relative to the working directory of now; the path is UTF-8 and taken as it is. One
    /// with a null character in it names no file, so the URL is none of a file.
    static std::shared_ptr<NSURL> fileURLWithPath(const std::string& path);
    /// A URL as it is written: percent-encoded, with a scheme.
    /// @return null for a text that is no URL: without a scheme, or with a percent sign that two hexadecimal digits do not
    ///         follow
    static std::shared_ptr<NSURL> urlWithString(const std::string& text);

    /// Whether it names a local file: scheme "file", and no host but "localhost".
    bool isFileURL() const noexcept { return mPath.has_value(); }
    /// The decoded path of a file URL; empty for any other.
    std::string path() const { return mPath.value_or(std::string()); }
    /// As it is written, percent-encoded.
    const std::string& absoluteString() const noexcept { return mText; }

    /// Whether both are written the same.
    bool isEqual(const NSURL* other) const noexcept { return other != nullptr && other->mText == mText; }

  private:
    NSURL(std::string text, std::optional<std::string> path);

    std::string mText;
    std::optional<std::string> mPath;
};

/// A URL as the C interface takes it.
using CFURLRef = const NSURL*;
