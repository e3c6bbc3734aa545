#pragma once

/// What status requests and replies are made of, beside the vocabulary that the command shares.

namespace vornd {

/// Names of the request's and the reply's root. Anything but "ORDER" makes a reply the final one.
inline constexpr char STATUS_REQUEST[] = "UI_STAT";
inline constexpr char STATUS_REPLY[] = "STATUS_REPLY";

/// An intermediate reply: a text for the user, and the seconds to wait for the next reply.
inline constexpr char ORDER_REPLY[] = "ORDER";
inline constexpr char ORDER_MESSAGE[] = "MESSAGE";
inline constexpr char ORDER_WAIT[] = "WAIT";

/// Items of a reply beside the resources, and so names that no resource can have.
inline constexpr char REPLY_RESULT[] = "RESULT"; ///< one message number for the whole request
inline constexpr char REPLY_ERROR[] = "ERROR";   ///< message numbers by resource

/// Item of a resource, beside RES_STATE and RES_TARGET: failure counts by node.
inline constexpr char RES_CURRENT_FAILURE[] = "CURRENT_FAILURE";

/// Value of an option's entry when the option was given.
inline constexpr char OPTION_GIVEN[] = "1";

/// Message numbers of a reply.
enum result_number : int {
    RESULT_YES = 0,
    RESULT_NOT_RUNNING = 1,
    RESULT_NOTHING_REGISTERED = 202,
    RESULT_NOT_REGISTERED = 210,
    RESULT_WITHHELD = 213, ///< the caller may not read the resource
    RESULT_UNKNOWN_MEMBER = 230,
    RESULT_NOT_UNDERSTOOD = 300,
    RESULT_TOO_LARGE = 301, ///< the reply does not fit a frame
};

} // namespace vornd
