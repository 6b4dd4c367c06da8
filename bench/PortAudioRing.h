#pragma once

// PortAudio's ring buffer. Debian links it into libportaudio.a but does not ship its header, so what is used of it is
// declared here; the record is never looked into.

#if BRAQ_BENCH_HAS_PORTAUDIO

extern "C" {

/// Large enough for the record, which is seven words.
struct PaUtilRingBuffer {
    alignas(64) unsigned char storage[256];
};

long PaUtil_InitializeRingBuffer(PaUtilRingBuffer* ring, long elementBytes, long elementCount, void* elements);
void PaUtil_FlushRingBuffer(PaUtilRingBuffer* ring);
long PaUtil_WriteRingBuffer(PaUtilRingBuffer* ring, const void* elements, long elementCount);
long PaUtil_ReadRingBuffer(PaUtilRingBuffer* ring, void* elements, long elementCount);
long PaUtil_AdvanceRingBufferWriteIndex(PaUtilRingBuffer* ring, long elementCount);
}

#endif
