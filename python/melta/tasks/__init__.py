"""What one tries first with a trained model, with ASE: ``python -m melta relax Si:diamond`` and the like.

Each module has a function that computes, ``relax.relax``, ``eos.equation_of_state``, ``elastic.elastic_constants``,
``md.dynamics``, ``phonons.phonons`` and ``vacancy.vacancy``, for atoms that have a ``melta.ase.Calculator``. Its result
tells itself (``lines``), writes its file (``write``) and draws its picture (``draw``). A ``trust.Trust`` watches whether
the model knows the places that are visited.
"""
