# SPDX-License-Identifier: Apache-2.0
"""What script/mutate consists of: finding mutations in C++, compiling them into programs, judging them by the tests."""
