#pragma once

/// @file
/// The whole library: everything that an application includes.

#include "BRAQAudio/BRAQAudioBuffer.h"
#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/BRAQDelegateEntry.h"
#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BAudioBuffer.h"
#include "BRAQAudio/core/BAudioBufferQueueWorker.h"
#include "BRAQAudio/core/BAudioNotificationQueueWorker.h"
#include "BRAQAudio/core/BBufferQueue.h"
#include "BRAQAudio/core/BGuard.h"
#include "BRAQAudio/core/BGuardLocker.h"
#include "BRAQAudio/core/BMutex.h"
#include "BRAQAudio/core/BQueueableAudioBuffer.h"
#include "BRAQAudio/core/BQueueableAudioNotification.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "BRAQAudio/platform/foundation.h"
