#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <string>

/// @addtogroup foundation
/// @{

/// What a status of the platform means, for users: a phrase in UTF-8 that begins in lower case and has no full stop, so
/// that it can follow a name and a colon ("song.wav: permission denied"). `NSError::localizedDescription` uses it.
///
/// The words are in the language of the application's locale if the library has a translation, as with `NSBundle`;
/// otherwise they are in English. An unknown status is named: "unknown error 'abcd'" if it consists of four printable
/// characters, else "unknown error -12345". 0 is "no error". Any thread but an I/O thread.
BRAQ_EXPORT std::string BRAQStatusDescription(OSStatus status);

/// Takes what the system, libav or the library said more precisely about the status that the last call of
/// `BRAQAudio/platform/files.h` on this thread has returned: "No space left on device", "moov atom not found". Like
/// `errno` it belongs to the thread, and the next of these calls forgets it. The status check of the library puts it into
/// the error, under `NSLocalizedFailureReasonErrorKey`; only programs that call the C interface need this function.
///
/// Texts of the system and of the library are in the language of the locale, those of libav in English.
/// @param status the returned status
/// @return the reason, once; empty if there is none, or if that call has returned another status. Any thread but an I/O
///         thread.
BRAQ_EXPORT std::string BRAQStatusTakeReason(OSStatus status);

/// @}
