// SPDX-License-Identifier: MIT
#pragma once

// The library's headers, whose macros omit fields of their records and use language extensions.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wpedantic"
#include <pipewire/pipewire.h>
#include <spa/param/props.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/iter.h>
