#pragma once

#include <cstdint>

namespace orv {

// The beginnings of the attribute lists by which drives are told apart where the model's name does not. A
// list that begins with another whole list has to stand before that one in the rules, or it would never be
// asked.

using IdList = const std::uint8_t;

inline constexpr IdList kMtronIds[] = {187};

inline constexpr IdList kIronWolfIds[] = {1, 5, 9, 12, 100, 102, 103, 170, 171, 172, 173, 174, 177, 183, 187};

inline constexpr IdList kJMicron66xIds[] = {1, 2, 3, 5, 7, 8, 9, 10, 12, 167, 168, 169, 170, 173, 175};
inline constexpr IdList kJMicron61xIds[] = {1, 2, 3, 5, 7, 8, 9, 10, 12, 168, 175, 192, 194};
inline constexpr IdList kJMicron60xIds[] = {12, 9, 194, 229, 232, 233};

inline constexpr IdList kIndilinxIds[] = {1, 9, 12, 184, 195, 196};

inline constexpr IdList kIntel225Ids[] = {3, 4, 5, 9, 12, 192, 225};
inline constexpr IdList kIntel232Ids[] = {3, 4, 5, 9, 12, 192, 232, 233};
inline constexpr IdList kIntel170Ids[] = {3, 4, 5, 9, 12, 170, 171, 172};

inline constexpr IdList kSamsung170Ids[] = {5, 9, 12, 170, 171, 172, 173, 174, 178, 180};
inline constexpr IdList kSamsung177Ids[] = {5, 9, 12, 177, 179, 181, 182};
inline constexpr IdList kSamsungOld178Ids[] = {9, 12, 178, 179, 180};
inline constexpr IdList kSamsungOld177Ids[] = {9, 12, 177, 178, 179, 180, 183};
inline constexpr IdList kSamsungOld175Ids[] = {9, 12, 175, 176, 177, 178, 179, 180};

inline constexpr IdList kMicronIds[] = {1, 5, 9, 12, 170, 171, 172, 173, 174, 181, 183};

inline constexpr IdList kSandForce13Ids[] = {1, 5, 9, 12, 13, 100, 170};
inline constexpr IdList kSandForce171Ids[] = {1, 5, 9, 12, 171, 172};

inline constexpr IdList kOczIds[] = {1, 3, 4, 5, 9, 12, 232, 233};
inline constexpr IdList kOczVectorIds[] = {5, 9, 12, 171, 174, 195, 196, 197, 198};

inline constexpr IdList kPlextorIds[] = {1, 5, 9, 12, 177, 178, 181, 182};

inline constexpr IdList kRealtekIds[] = {1, 5, 9, 12, 161, 162, 163, 164, 166, 167};

inline constexpr IdList kSiliconMotion164Ids[] = {1, 5, 9, 12, 160, 161, 163, 164, 165, 166, 167};
inline constexpr IdList kSiliconMotion159Ids[] = {1, 5, 9, 12, 148, 149, 150, 151, 159, 160, 161};
inline constexpr IdList kSiliconMotion163Ids[] = {1, 5, 9, 12, 160, 161, 163, 148, 149, 150, 151};

inline constexpr IdList kPhison194Ids[] = {1, 9, 12, 168, 170, 173, 192, 194, 218, 231, 241};
inline constexpr IdList kPhison218Ids[] = {1, 9, 12, 168, 170, 173, 192, 218, 231, 241};

inline constexpr IdList kMarvell161Ids[] = {5, 9, 12, 161, 164, 165, 166, 167};
inline constexpr IdList kMarvell164Ids[] = {5, 9, 12, 164, 165, 166, 167}; ///< Maxiotek's too, in one model

inline constexpr IdList kMaxiotekIds[] = {5, 9, 12, 167, 168, 169};

} // namespace orv
