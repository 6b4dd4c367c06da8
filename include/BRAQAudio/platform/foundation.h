#pragma once

// The foundation of the library on a desktop system: error objects, the log, strings, notifications, the main queue.

#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"
#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "BRAQAudio/platform/foundation/CFString.h"
#include "BRAQAudio/platform/foundation/CFURL.h"
#include "BRAQAudio/platform/foundation/NSAssertionHandler.h"
#include "BRAQAudio/platform/foundation/NSBundle.h"
#include "BRAQAudio/platform/foundation/NSError.h"
#include "BRAQAudio/platform/foundation/NSException.h"
#include "BRAQAudio/platform/foundation/NSKeyValueObserving.h"
#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/foundation/NSNotificationCenter.h"
#include "BRAQAudio/platform/foundation/NSObserverToken.h"
#include "BRAQAudio/platform/foundation/NSString.h"
#include "BRAQAudio/platform/foundation/NSURL.h"
