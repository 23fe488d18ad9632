// vxRefCounter.h - the reference-counted base of shared library objects.
//
// VxRefCounter only carries the count; who holds a reference and when the
// object goes is the owner's convention. Exceptions (vxError.h) start at 1 and
// are thrown and copied by value, so nothing here ever deletes an object.
#ifndef VX_REF_COUNTER_H
#define VX_REF_COUNTER_H

#include "vxExport.h"

class VX_API VxRefCounter {
public:
    VxRefCounter() : refCount(0) {}
    VxRefCounter(const VxRefCounter& other) : refCount(other.refCount) {}
    VxRefCounter& operator=(const VxRefCounter& other) {
        refCount = other.refCount;
        return *this;
    }
    virtual ~VxRefCounter();

    // Adds or drops one reference; returns the new count.
    int addReference() { return ++refCount; }
    int dropReference() { return --refCount; }

    int refCount; // references held
};

#endif
