# SPDX-License-Identifier: ISC
# The recipe configures through CMAKE_OPTIONS; nothing is compiled here.
