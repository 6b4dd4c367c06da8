#include "BRAQAudio/platform/foundation/NSString.h"

#include "BRAQAudio/platform/foundation/NSException.h"

#include <locale.h>
#include <stdio.h>

#include <cstdarg>
#include <cstdlib>
#include <memory>

namespace {

/// Switches the calling thread, and only that, to the "C" locale.
class NeutralLocale {
  public:
    NeutralLocale() : mPrevious(::uselocale(neutral())) {}
    ~NeutralLocale() { ::uselocale(mPrevious); }
    NeutralLocale(const NeutralLocale&) = delete;
    NeutralLocale& operator=(const NeutralLocale&) = delete;

  private:
    // Never freed: it is needed as long as any thread runs.
    static locale_t neutral() {
        static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    const locale_t mPrevious;
};

} // namespace

std::string NSStringWithFormat(const char* format, ...) {
    const NeutralLocale locale;
    char* allocated = nullptr;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = ::vasprintf(&allocated, format, arguments);
    va_end(arguments);
    if (length < 0) {
        throw NSException(NSInvalidArgumentException, std::string("cannot be formatted: ") + format);
    }
    const std::unique_ptr<char, decltype(&std::free)> text(allocated, &std::free);
    return {text.get(), static_cast<std::size_t>(length)};
}
