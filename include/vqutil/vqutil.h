// Everything vqutil offers, the image class included.
#pragma once

#include <vqutil/qimageex.h>
#include <vqutil/core.h>
