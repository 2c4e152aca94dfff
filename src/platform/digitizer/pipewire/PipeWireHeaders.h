// SPDX-License-Identifier: MIT
#pragma once

// The library's headers, whose macros leave fields of their records out and use extensions of the language.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wpedantic"
#include <pipewire/pipewire.h>
#include <spa/param/props.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/iter.h>
