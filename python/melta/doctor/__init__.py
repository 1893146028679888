"""The doctor of data files: what is wrong with ``melta.train``, and in which line.

    >>> from melta.doctor import examination
    >>> report = examination.examine("melta.train")
    >>> print(report.text())

It needs SciPy, and Matplotlib for pictures.
"""
