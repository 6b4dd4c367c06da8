#include "tools/braq/shared/Trouble.h"

#include <BRAQAudio/BRAQAudio.h>

std::string reasonOfCaughtException() {
    return NSXErrorFromException(std::current_exception())->localizedDescription();
}
