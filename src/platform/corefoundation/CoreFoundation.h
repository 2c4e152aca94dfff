// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"

#include <cstdint>
#include <string>

namespace platform {

/// A counted reference to an immutable object; 0 is null. Only strings exist.
using CFTypeRef = int32_t;
using CFStringRef = CFTypeRef;

inline constexpr int32_t kCFStringEncodingUTF8 = 0x08000100;
inline constexpr int32_t kCFStringEncodingASCII = 0x0600;
inline constexpr int32_t kCFStringEncodingISOLatin1 = 0x0201;
inline constexpr int32_t kCFStringEncodingFileName =
    0x7F00; ///< bytes of a file's name, in no encoding: kept as they are
inline constexpr int32_t kCFStringEncodingInvalidId = -1;

/// Adds a reference and returns `object`; 0 for a dead number.
CFTypeRef CFRetain(CFTypeRef object);

/// Takes a reference back; the last one ends the object. Dead numbers are ignored.
void CFRelease(CFTypeRef object);

/// 1 when both are the same object or equal strings, else 0.
int32_t CFEqual(CFTypeRef a, CFTypeRef b);

/// The type's number, 0 for a dead object.
int32_t CFGetTypeID(CFTypeRef object);

/// A new string that describes the object or the type, which the caller releases; 0 for a number that is none.
CFStringRef CFCopyDescription(CFTypeRef object);
CFStringRef CFCopyTypeIDDescription(int32_t typeID);

/// References held on the object, 0 for a dead one.
int32_t CFGetRetainCount(CFTypeRef object);

/// A number that is the same for equal objects; 0 for a dead one.
int32_t CFHash(CFTypeRef object);

/// Writes the object's description to standard error.
void CFShow(CFTypeRef object);

/// Makes a string from the terminated bytes at `text`, in the encoding given; `allocator` is 0. The caller releases
/// it. 0 for an unknown encoding, for bytes that are not valid in it, or for an address of no living block.
CFStringRef CFStringCreateWithCString(int32_t allocator, Address text, int32_t encoding);

/// Length in UTF-16 units; 0 for a dead reference.
int32_t CFStringGetLength(CFStringRef string);

/// The most bytes that `length` UTF-16 units need in an encoding; -1 for an unknown one.
int32_t CFStringGetMaximumSizeForEncoding(int32_t length, int32_t encoding);

/// Writes the string and a terminator into `size` bytes at `buffer`: 1, or 0 where it doesn't fit or can't be encoded.
int32_t CFStringGetCString(CFStringRef string, Address buffer, int32_t size, int32_t encoding);

/// The string in UTF-8, for the other rooms; empty for a dead reference.
std::string TextOfCFString(CFStringRef string);

} // namespace platform
