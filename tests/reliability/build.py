import os
import subprocess

HERE = os.path.dirname(os.path.realpath(__file__))


def build(*targets):
    """Builds programs and returns the folder they are in, see the script of that name."""
    return subprocess.run([os.path.join(HERE, "build"), *targets], stdout=subprocess.PIPE, text=True,
                          check=True).stdout.strip()
