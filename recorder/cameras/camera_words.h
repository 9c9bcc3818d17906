// What is told of cameras, whatever they speak.
#pragma once

namespace kvrecorder::words {

inline constexpr const char* kNoMemory = "there is not enough memory for a camera";
inline constexpr const char* kUnknownHost = "the name of the camera's host is not known";
inline constexpr const char* kNothingListens = "nothing listens at the camera's address";
inline constexpr const char* kNoWay = "no way leads to the camera's address";
inline constexpr const char* kNoAnswer = "the camera does not answer";
inline constexpr const char* kNoMorePictures = "the camera sends no pictures any more";
inline constexpr const char* kWantsLogin = "the camera wants a user and a password";
inline constexpr const char* kRefusesLogin = "the camera refuses the user or the password";
inline constexpr const char* kNoPath = "the camera knows no such path";
inline constexpr const char* kRefuses = "the camera refuses to send pictures";
inline constexpr const char* kClosed = "the camera closed the connection";
inline constexpr const char* kNotUnderstood = "the camera's answer cannot be understood";
inline constexpr const char* kNotEncrypted = "no encrypted connection to the camera can be had";
inline constexpr const char* kPlaysNothing = "the camera plays nothing that is said to it";

}  // namespace kvrecorder::words
