// Placeholder: conversion is being written; until then nothing is converted.
#include "norvane/basic_structures/pixel_conversion.h"

extern "C" {

int TQ_ValidateImageData(const NorvaneImageData* image) { return image == nullptr ? -10002 : 0; }
NorvaneImageData* TQ_ConvertToGrayscale(const NorvaneImageData*) { return nullptr; }
NorvaneImageData* TQ_ConvertToRGB(const NorvaneImageData*) { return nullptr; }
NorvaneImageData* TQ_ConvertImageData(const NorvaneImageData*, int) { return nullptr; }

}  // extern "C"
