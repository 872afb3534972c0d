// SPDX-License-Identifier: Apache-2.0

// Stands for the precompiled headers of the tests: a target has to have a source.
