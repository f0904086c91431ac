#pragma once

#include "narrator.h"

/** The parts of the tour, in the order in which they are told. */
void environment_chapter(Narrator& narrator);
void login_chapter(Narrator& narrator);
void certificate_chapter(Narrator& narrator);
void signing_chapter(Narrator& narrator);
void encryption_chapter(Narrator& narrator);
void storage_chapter(Narrator& narrator);
void lock_chapter(Narrator& narrator);
void file_chapter(Narrator& narrator);
