// What page_residency.cpp asks each system in its own way; one implementation per system.
#pragma once

#include <cstdint>

// How the pages that are asked about are mapped. The mapping is never touched.
extern const int page_residency_mapping;

// Whether this user is told which pages of the file are in memory.
bool page_residency_is_told(int fd);

// mincore(2): sets a byte for each page of the mapping, its lowest bit when the page is in memory.
// 0, or the error number.
int page_residency_ask(void *mapping, std::uint64_t bytes, unsigned char *answers);
