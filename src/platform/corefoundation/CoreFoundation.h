// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"

#include <cstdint>
#include <string>

namespace platform {

/// A counted reference to an immutable object; 0 is null. All objects are strings.
using CFTypeRef = int32_t;
using CFStringRef = CFTypeRef;

inline constexpr int32_t kCFStringEncodingUTF8 = 0x08000100;
inline constexpr int32_t kCFStringEncodingASCII = 0x0600;
inline constexpr int32_t kCFStringEncodingISOLatin1 = 0x0201;
/// Bytes of a file name, without an encoding; stored unchanged.
inline constexpr int32_t kCFStringEncodingFileName = 0x7F00;
inline constexpr int32_t kCFStringEncodingInvalidId = -1;

/// Retains an object and returns it; 0 for an invalid reference.
CFTypeRef CFRetain(CFTypeRef object);

/// Releases an object; the last release destroys it. Invalid references are ignored.
void CFRelease(CFTypeRef object);

/// 1 if both are the same object or equal strings, else 0.
int32_t CFEqual(CFTypeRef a, CFTypeRef b);

/// The type's number; 0 for an invalid reference.
int32_t CFGetTypeID(CFTypeRef object);

/// A new string that describes the object; the caller releases it. 0 for an invalid reference.
CFStringRef CFCopyDescription(CFTypeRef object);
/// A new string that describes the type; the caller releases it. 0 for an unknown type.
CFStringRef CFCopyTypeIDDescription(int32_t typeID);

/// The object's retain count; 0 for an invalid reference.
int32_t CFGetRetainCount(CFTypeRef object);

/// A hash value; equal objects have the same one. 0 for an invalid reference.
int32_t CFHash(CFTypeRef object);

/// Writes the object's description to standard error, "(null)" for an invalid reference.
void CFShow(CFTypeRef object);

/// Creates a string from the terminated bytes at `text` in that encoding; `allocator` is not used. The caller releases
/// it. Returns 0 for an unknown encoding, for bytes that are not valid in it, or for an address in no allocated block.
CFStringRef CFStringCreateWithCString(int32_t allocator, Address text, int32_t encoding);

/// Length in UTF-16 units; 0 for an invalid reference.
int32_t CFStringGetLength(CFStringRef string);

/// The maximum number of bytes that `length` UTF-16 units take in an encoding; -1 for an unknown encoding.
int32_t CFStringGetMaximumSizeForEncoding(int32_t length, int32_t encoding);

/// Writes the string and a terminator into `size` bytes at `buffer`. Returns 1, or 0 if it does not fit or cannot be
/// encoded.
int32_t CFStringGetCString(CFStringRef string, Address buffer, int32_t size, int32_t encoding);

/// The string in UTF-8, for the other modules; empty for an invalid reference.
std::string TextOfCFString(CFStringRef string);

} // namespace platform
