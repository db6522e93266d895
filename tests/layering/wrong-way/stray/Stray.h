#pragma once
// Code in a folder that the arrows do not name.
