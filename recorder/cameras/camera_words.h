// What is told of cameras, whatever they speak.
#pragma once

#include "media/fault.h"

namespace kvrecorder::words {

inline constexpr FaultCode kNoMemory = FaultCode::OutOfMemory;
inline constexpr FaultCode kUnknownHost = FaultCode::HostUnknown;
inline constexpr FaultCode kNothingListens = FaultCode::NothingListens;
inline constexpr FaultCode kNoWay = FaultCode::NoWay;
inline constexpr FaultCode kNoAnswer = FaultCode::NoAnswer;
inline constexpr FaultCode kNoMorePictures = FaultCode::PicturesStopped;
inline constexpr FaultCode kWantsLogin = FaultCode::LoginWanted;
inline constexpr FaultCode kRefusesLogin = FaultCode::LoginRefused;
inline constexpr FaultCode kNoPath = FaultCode::PathUnknown;
inline constexpr FaultCode kRefuses = FaultCode::PicturesRefused;
inline constexpr FaultCode kClosed = FaultCode::Closed;
inline constexpr FaultCode kNotUnderstood = FaultCode::NotUnderstood;
inline constexpr FaultCode kNotEncrypted = FaultCode::NotEncrypted;
inline constexpr const char* kPlaysNothing = "the camera plays nothing that is said to it";

}  // namespace kvrecorder::words
