#pragma once

// PipeWire's headers, as the driver includes them. Many of PipeWire's calls are macros based on C extensions, which
// Clang warns about where they are used.

#if defined(__clang__)
#pragma clang diagnostic ignored "-Wgnu-statement-expression"
#pragma clang diagnostic ignored "-Wgnu-zero-variadic-macro-arguments"
#pragma clang diagnostic ignored "-Wc99-extensions"
#endif

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <spa/node/io.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/latency-utils.h>
#include <spa/param/param.h>
