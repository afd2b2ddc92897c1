"""The variables of the role: their types, who has set them, and the options of the program that they become."""

import os
import re

from ansible.errors import AnsibleError, AnsibleUndefinedVariable
from ansible.module_utils.common.arg_spec import ArgumentSpecValidator

COLLECTION = os.path.realpath(os.path.join(os.path.dirname(__file__), "..", ".."))
ROLE = os.path.join(COLLECTION, "roles", "prereqcheck")
ON_CONTROLLER = (
    "prereqcheck_prerequisites",
    "prereqcheck_archives",
    "prereqcheck_output",
    "prereqcheck_report_program",
    "prereqcheck_waivers",
    "prereqcheck_compare",
)
LONGEST_TIME = 24 * 60 * 60


class WrongVariables(Exception):
    """Says which variable has a value that the role cannot use."""


def load_options(loader):
    """Returns the options of the role by name, in the form for Ansible's validators."""
    return loader.load_from_file(os.path.join(ROLE, "meta", "argument_specs.yml"))["argument_specs"]["main"]["options"]


def names_from_facts(task_vars, options):
    """Returns the variables whose value comes from a host's facts. The playbook's name for the first one is shorter."""
    facts = task_vars.get("ansible_facts", {})
    return [
        name
        for name in ("prerequisites", *options)
        if name in facts and name in task_vars and task_vars[name] == facts[name]
    ]


def without_facts(task_vars, options):
    """Returns the variables as they would be without the facts of the host. Facts hide the values of the inventory,
    which other hosts still have."""
    variables = dict(task_vars)
    for name in names_from_facts(task_vars, options):
        del variables[name]
        for host in task_vars["ansible_play_hosts_all"]:
            others = task_vars["hostvars"][host]
            if name in others and name not in others.get("ansible_facts", {}):
                variables[name] = others[name]
                break
    return variables


def read_on_controller(task_vars, options, templar):
    """Returns the variables that are the same for all hosts, as text."""
    templar.available_variables = variables = without_facts(task_vars, options)
    wanted = {}
    for name in ON_CONTROLLER:
        value = evaluate(name, variables.get(name), templar)
        if value is None:
            value = options[name].get("default", "")
        if not isinstance(value, str) or "\0" in value:
            raise WrongVariables(f"{name} is not the name of a file")
        wanted[name] = value
    if not wanted["prereqcheck_output"]:
        raise WrongVariables("prereqcheck_output is empty")
    return wanted


def read_for_host(task_vars, options, templar):
    """Returns all other variables, with the types that the role declares."""
    from_facts = names_from_facts(task_vars, options)
    if from_facts:
        raise WrongVariables(f"{from_facts[0]} is set by the facts of the host")
    for_host = {name: option for name, option in options.items() if name not in ON_CONTROLLER}
    given = {name: evaluate(name, task_vars[name], templar) for name in for_host if name in task_vars}
    checked = ArgumentSpecValidator(for_host).validate(given)
    if checked.error_messages:
        raise WrongVariables(plain(checked.error_messages))
    wanted = checked.validated_parameters
    check_values(wanted)
    return wanted


def evaluate(name, value, templar):
    """Returns the value of a variable. Its errors have the same words with every version of Ansible."""
    try:
        return templar.template(value)
    except AnsibleUndefinedVariable as error:
        raise WrongVariables(f"{name} uses a variable that is not defined") from error
    except AnsibleError as error:
        raise WrongVariables(f"{name} cannot be evaluated") from error


def plain(messages):
    """Returns the messages about wrong types, without Ansible's own names of types and without follow-up errors."""
    types = [message for message in messages if " unable to convert to " in message]
    named = (re.sub(r" is of type .* unable to convert to (\w+):.*", r" is not of type \1", fault) for fault in types)
    return "; ".join(named) or "; ".join(messages)


def check_values(wanted):
    """Refuses values that have the right type but cannot work."""
    if not 1 <= wanted["prereqcheck_time_limit"] <= LONGEST_TIME:
        raise WrongVariables(f"prereqcheck_time_limit must be from 1 to {LONGEST_TIME} seconds")
    if not wanted["prereqcheck_run_directory"].startswith("/"):
        raise WrongVariables("prereqcheck_run_directory must be an absolute path")
    for word in program_words(wanted):
        if "\0" in word:
            raise WrongVariables("a variable holds a zero byte")


def program_words(wanted):
    """Returns the variables of the role as options of the program."""
    instance = {name: value for name, value in (wanted["prereqcheck_instance"] or {}).items() if value is not None}
    switches = (
        ("-c", wanted["prereqcheck_client"]),
        ("-i", not wanted["prereqcheck_clustered"]),
        ("-strict", wanted["prereqcheck_strict"]),
        ("-vastdw", instance),
        ("-sqllib", instance.get("no_sqllib")),
    )
    values = (
        ("-v", wanted["prereqcheck_level"]),
        ("-usrname", instance.get("user")),
        ("-service", instance.get("service_port")),
        ("-svcename", instance.get("service_name")),
        ("-fcmstartport", instance.get("fcm_start_port")),
        ("-partitions", instance.get("partitions")),
    )
    words = [option for option, wanted_so in switches if wanted_so]
    for option, value in values:
        if value not in (None, ""):
            words += [option, str(value)]
    return words
