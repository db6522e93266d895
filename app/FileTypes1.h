#pragma once

#include "platform/toolkit/FileType.h"

// The file types that the window takes in drops: anything, and application bundles.
namespace FileTypes1 {

// Makes the two types, in the order Any, Apps, and enters each in the toolkit's table of file
// types, so that AcceptFileDrop(All()) finds them. Runs once at start; a second run makes
// two new types that take the place of the first two.
void _Initialize();

// The two types; nil until _Initialize has run.
toolkit::Ref<toolkit::FileType> Any();
toolkit::Ref<toolkit::FileType> Apps();

// The names of both, for AcceptFileDrop: "special/any;apps", whether or not the types exist.
toolkit::String All();

}  // namespace FileTypes1
