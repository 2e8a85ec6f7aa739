// Everything vqutil offers, the image class included.
#pragma once

#include <vqutil/qimageex.h>
#include <vqutil/core.h>
#include <vqutil/composite.h>
#include <vqutil/adjust.h>
#include <vqutil/filters.h>
#include <vqutil/selection.h>
#include <vqutil/transform.h>
#include <vqutil/paint.h>
