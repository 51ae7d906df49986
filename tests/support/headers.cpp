// SPDX-License-Identifier: MIT
// A target has a source; this one is there for the headers that are compiled along with it.
