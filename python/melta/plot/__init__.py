"""Pictures of runs: what the command ``melta-plot`` draws.

Numbers come first: ``log``, ``run``, ``errors``, ``groups``, ``spread`` and ``radial`` need NumPy alone.
``style`` and the figures need matplotlib.
"""
