"""The Python package, for pip: see docs/python.md."""
import re

from skbuild import setup

with open("CMakeLists.txt", encoding="utf-8") as text:
    version = re.search(r"project\(orvik VERSION ([0-9.]+)", text.read()).group(1)

setup(
    name="orvik",
    version=version,
    description="Classification trees, random forests and boosted trees for tables as they are",
    license="see LICENSE",
    python_requires=">=3.9",
    install_requires=["numpy", "scipy", "scikit-learn>=1.2"],
    extras_require={"all": ["pandas", "matplotlib", "tqdm"]},
    packages=["orvik"],
    package_dir={"orvik": "python/orvik"},
    package_data={"orvik": ["py.typed", "*.pyi"]},
    cmake_args=["-DORVIK_TESTS=OFF", "-DORVIK_PYTHON=ON"],
    cmake_install_target="orvik_python_install",
    zip_safe=False,
)
