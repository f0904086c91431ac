#pragma once

#include "narrator.h"

/** The parts of the tour, in the order in which they are told. */
void environment_chapter(Narrator& narrator);
