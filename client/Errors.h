// SPDX-License-Identifier: Apache-2.0
// How the functions of client/ fail: they throw CFailure or CBadArguments, or what the standard library throws when
// memory runs out (std::bad_alloc, std::length_error), and nothing else. Their descriptions name the first two. A
// function that returns std::optional or bool says so where nothing or false is an answer and no failure.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vek::client {

/// Something outside the program went wrong, or the library refused: files, devices, the system. The text is one
/// message without a full stop; paths stand in it as they were given.
class CFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What was asked for does not fit together; nothing was done.
class CBadArguments : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The same where settings are to be named, which front ends call as they like: "<noise> complex needs <dark>".
class CMisfit : public CBadArguments {
public:
    using CBadArguments::CBadArguments;

    /// The text with each <name> replaced.
    std::string Text(const std::function<std::string(std::string_view)>& nameOf) const;
};

/// What errno's value means, in the words of the C library.
std::string systemMessage(int error);

/// Throws CFailure unless a status of the library is VEK_OK. what: the refused operation, in words.
void requireOk(int status, std::string_view what);

} // namespace vek::client
