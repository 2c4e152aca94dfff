// SPDX-License-Identifier: MIT
#pragma once

// The library's headers, whose macros omit fields of their records, use language extensions and cast as in C.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <pipewire/pipewire.h>
#include <spa/param/props.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/iter.h>
