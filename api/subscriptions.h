// The requests that ask the service to push events of one kind under a tag. What is alike is one exchange and a table;
// the builders differ in their codes, their elements and their log texts. Two of them, NQA and trap, are kept although
// nothing calls them.
//
// Each returns 0, 1, or 14 when no session is open. A text that is null could not be read within its width and fails
// the request like any other element that cannot be built.
#pragma once

#include <cstdint>

std::uint32_t ops_iclog_subscribe(const char* tag, const char* first, const char* infoAlias, const char* loginfo,
                                  std::uint32_t level);

std::uint32_t ops_ifm_ifstate_subscribe(const char* tag, std::int32_t first, const char* text, std::int32_t second);

// A number of the route request that is not given.
constexpr std::uint32_t kNotGiven = 33;

std::uint32_t ops_route_subscribe(const char* tag, const char* first, std::uint32_t number, std::uint32_t option1,
                                  std::uint32_t option2, std::uint32_t option3, const char* second, const char* third);

std::uint32_t ops_nqa_subscribe(const char* tag, const char* text2, const char* text3, const char* text4,
                                const char* text5, const char* text6, std::uint32_t number);

std::uint32_t ops_trap_subscribe(const char* tag, const char* text2, const char* text3, const char* text4,
                                 const char* text5, std::uint32_t number);
