// Symbol visibility for the vqutil libraries.
//
// Everything is hidden by default; the public interface is marked with
// VQUTIL_EXPORT (libvqutil) or VQIMAGEEX_EXPORT (libvqimageex, the image class).
// Define VQUTIL_STATIC when linking the objects statically.
#pragma once

#if defined(VQUTIL_STATIC)
#  define VQUTIL_EXPORT
#  define VQIMAGEEX_EXPORT
#elif defined(_WIN32)
#  ifdef VQUTIL_BUILDING
#    define VQUTIL_EXPORT __declspec(dllexport)
#  else
#    define VQUTIL_EXPORT __declspec(dllimport)
#  endif
#  ifdef VQIMAGEEX_BUILDING
#    define VQIMAGEEX_EXPORT __declspec(dllexport)
#  else
#    define VQIMAGEEX_EXPORT __declspec(dllimport)
#  endif
#else
#  define VQUTIL_EXPORT __attribute__((visibility("default")))
#  define VQIMAGEEX_EXPORT __attribute__((visibility("default")))
#endif
