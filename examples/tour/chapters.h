#pragma once

#include "narrator.h"

/** The chapters of the tour, in order. */
void environment_chapter(Narrator& narrator);
void login_chapter(Narrator& narrator);
void certificate_chapter(Narrator& narrator);
void signing_chapter(Narrator& narrator);
void encryption_chapter(Narrator& narrator);
void storage_chapter(Narrator& narrator);
void lock_chapter(Narrator& narrator);
void file_chapter(Narrator& narrator);
void logout_chapter(Narrator& narrator);
