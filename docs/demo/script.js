document.getElementById("added").textContent = "This line was written by a script, and the archive has it.";
