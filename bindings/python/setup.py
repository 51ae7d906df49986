# SPDX-License-Identifier: MIT
"""The routine in C beside what pyproject.toml says; without a compiler it is left out."""

from setuptools import Extension, setup

setup(ext_modules=[Extension("jpg._order", ["jpg/_order.c"], extra_compile_args=["-O3"],
                             optional=True)])
